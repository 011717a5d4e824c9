// Runs an LLVM module in this process and counts the IR instructions that it executes: one block
// counter a basic block, bumped at its head. Prints on standard error the number of instructions,
// their cost by the machine's own cost table, and nothing else; the program's output and exit
// status are its own. With --costs as the first argument nothing is run: each function's name and
// what its code costs go to the standard output. Phis, debug records and allocas are free, as
// copies between registers that a register allocator removes and as frame layout are.
#include <llvm/ExecutionEngine/Orc/LLJIT.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IRReader/IRReader.h>
#include <llvm/Support/SourceMgr.h>
#include <llvm/Support/TargetSelect.h>
#include <llvm/Support/raw_ostream.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {
std::map<std::string, unsigned> cost_table() {
    return {
#define COST(class, cost, comment) {#class, cost},
#include "OPT5/target/costs.def"
#undef COST
    };
}

bool is_free(const llvm::Instruction &instruction) {
    const auto *jump = llvm::dyn_cast<llvm::BranchInst>(&instruction);
    if (jump && jump->isUnconditional() &&
        jump->getSuccessor(0) == jump->getParent()->getNextNode())
        return true;
    if (llvm::isa<llvm::PHINode, llvm::AllocaInst>(instruction)) return true;
    if (const auto *intrinsic = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction))
        switch (intrinsic->getIntrinsicID()) {
        case llvm::Intrinsic::lifetime_start:
        case llvm::Intrinsic::lifetime_end:
        case llvm::Intrinsic::assume:
        case llvm::Intrinsic::experimental_noalias_scope_decl: return true;
        default: return llvm::isa<llvm::DbgInfoIntrinsic>(instruction);
        }
    return false;
}

// The class that ic-run counts the same work in.
const char *cost_class(const llvm::Instruction &instruction) {
    using llvm::Instruction;
    const bool from_float = instruction.getNumOperands() > 0 &&
                            instruction.getOperand(0)->getType()->isFloatingPointTy();
    switch (instruction.getOpcode()) {
    case Instruction::Load: return "load";
    case Instruction::Store: return "store";
    case Instruction::Mul: return "multiply";
    case Instruction::SDiv:
    case Instruction::UDiv:
    case Instruction::SRem:
    case Instruction::URem: return "divide";
    case Instruction::FAdd:
    case Instruction::FSub:
    case Instruction::FMul:
    case Instruction::FNeg: return "floating";
    case Instruction::FDiv:
    case Instruction::FRem: return "float_divide";
    case Instruction::ICmp: return "compare";
    case Instruction::FCmp: return "floating";
    case Instruction::Br: return "branch";
    case Instruction::Switch:
    case Instruction::IndirectBr: return "branch";
    case Instruction::Select: return "branch"; // as a QUEST is
    case Instruction::Trunc:
    case Instruction::ZExt:
    case Instruction::SExt: return "conversion";
    case Instruction::FPTrunc:
    case Instruction::FPExt: return "other"; // float and double are one type on the machine
    case Instruction::FPToSI:
    case Instruction::FPToUI:
    case Instruction::SIToFP:
    case Instruction::UIToFP: return "float_conversion";
    case Instruction::Freeze:
    case Instruction::BitCast:
    case Instruction::PtrToInt:
    case Instruction::IntToPtr:
    case Instruction::Unreachable: return "other";
    case Instruction::Ret: return "other"; // its cost is in the call's
    case Instruction::Call: {
        const auto &call = llvm::cast<llvm::CallBase>(instruction);
        const llvm::Function *callee = call.getCalledFunction();
        if (callee && callee->isIntrinsic())
            return llvm::isa<llvm::MemIntrinsic>(instruction) ? "library" : "arithmetic";
        return callee && callee->isDeclaration() ? "library" : "call";
    }
    default: return from_float ? "floating" : "arithmetic";
    }
}

// ic-run counts the units that an assignment of a structure or an array copies. A short has two
// bytes here and one unit there, an int twice that.
std::uint64_t cost_of(const llvm::Instruction &instruction,
                      const std::map<std::string, unsigned> &costs) {
    const auto *copy = llvm::dyn_cast<llvm::MemIntrinsic>(&instruction);
    const auto *length = copy ? llvm::dyn_cast<llvm::ConstantInt>(copy->getLength()) : nullptr;
    constexpr std::uint64_t bytes_of_unit = 2;
    if (length) return length->getZExtValue() / bytes_of_unit * costs.at("copied");
    return costs.at(cost_class(instruction));
}

std::uint64_t instructions_done = 0, cost_done = 0;

void print_counts() {
    std::fflush(stdout);
    std::fprintf(stderr, "instructions %llu\ncost %llu\n",
                 static_cast<unsigned long long>(instructions_done),
                 static_cast<unsigned long long>(cost_done));
}

void add_counter(llvm::IRBuilder<> &builder, std::uint64_t *counter, std::uint64_t amount) {
    llvm::Type *word = builder.getInt64Ty();
    llvm::Value *address = llvm::ConstantExpr::getIntToPtr(
        builder.getInt64(reinterpret_cast<std::uintptr_t>(counter)), word->getPointerTo());
    builder.CreateStore(
        builder.CreateAdd(builder.CreateLoad(word, address), builder.getInt64(amount)), address);
}

void instrument(llvm::Module &module) {
    const auto costs = cost_table();
    for (llvm::Function &function : module)
        for (llvm::BasicBlock &block : function) {
            std::uint64_t instructions = 0, cost = 0;
            for (const llvm::Instruction &instruction : block) {
                if (is_free(instruction)) continue;
                ++instructions;
                cost += cost_of(instruction, costs);
            }
            llvm::IRBuilder<> builder(&*block.getFirstInsertionPt());
            add_counter(builder, &instructions_done, instructions);
            add_counter(builder, &cost_done, cost);
        }
}

// What an instruction costs beside the classes, as a list of costs of ic-run has it. A truth value
// is an int there, and joining two takes one logical operator; intrinsics other than minimum,
// maximum and absolute value stand for a handful of operators; a return is a branch. 0: by class.
unsigned special_cost(const llvm::Instruction &instruction) {
    const auto is_truth = [](const llvm::Type *type) { return type->isIntegerTy(1); };
    const bool narrow = instruction.getType()->isIntegerTy(16);
    if (llvm::isa<llvm::ReturnInst>(instruction)) return 3;
    if (llvm::isa<llvm::SExtInst>(instruction) && is_truth(instruction.getOperand(0)->getType()))
        return narrow ? 2 : 1;
    if (llvm::isa<llvm::SelectInst>(instruction) && is_truth(instruction.getType())) return 1;
    const auto *intrinsic = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction);
    if (!intrinsic) return 0;
    switch (intrinsic->getIntrinsicID()) {
    case llvm::Intrinsic::abs:
    case llvm::Intrinsic::smin:
    case llvm::Intrinsic::smax:
    case llvm::Intrinsic::umin:
    case llvm::Intrinsic::umax: return 1;
    case llvm::Intrinsic::fshl:
    case llvm::Intrinsic::fshr:
    case llvm::Intrinsic::uadd_sat:
    case llvm::Intrinsic::usub_sat: return 3;
    default: return 10;
    }
}

bool is_truth_as_int(const llvm::Instruction &instruction) {
    return llvm::isa<llvm::ZExtInst>(instruction) && instruction.getType()->isIntegerTy(32) &&
           instruction.getOperand(0)->getType()->isIntegerTy(1);
}

void print_costs(const llvm::Module &module) {
    const auto costs = cost_table();
    for (const llvm::Function &function : module) {
        if (function.isDeclaration()) continue;
        std::uint64_t cost = 0;
        for (const llvm::Instruction &instruction : llvm::instructions(function)) {
            if (is_free(instruction) || is_truth_as_int(instruction)) continue;
            const unsigned special = special_cost(instruction);
            cost += special ? special : costs.at(cost_class(instruction));
        }
        std::printf("%s %llu\n", function.getName().str().c_str(),
                    static_cast<unsigned long long>(cost));
    }
}
} // namespace

int main(int argc, char **argv) {
    const bool list_costs = argc > 1 && std::strcmp(argv[1], "--costs") == 0;
    if (list_costs) {
        ++argv;
        --argc;
    }
    if (argc < 2) {
        std::fprintf(stderr, "usage: ir_count [--costs] MODULE [arguments of the program...]\n");
        return 2;
    }
    llvm::InitializeNativeTarget();
    llvm::InitializeNativeTargetAsmPrinter();
    auto context = std::make_unique<llvm::LLVMContext>();
    llvm::SMDiagnostic problem;
    std::unique_ptr<llvm::Module> module = llvm::parseIRFile(argv[1], problem, *context);
    if (!module) {
        problem.print(argv[0], llvm::errs());
        return 2;
    }
    if (list_costs) {
        print_costs(*module);
        return 0;
    }
    instrument(*module);
    llvm::ExitOnError or_exit("ir_count: ", 2);
    auto jit = or_exit(llvm::orc::LLJITBuilder().create());
    jit->getMainJITDylib().addGenerator(
        or_exit(llvm::orc::DynamicLibrarySearchGenerator::GetForCurrentProcess(
            jit->getDataLayout().getGlobalPrefix())));
    or_exit(jit->addIRModule({std::move(module), std::move(context)}));
    auto *program =
        reinterpret_cast<int (*)(int, char **)>(or_exit(jit->lookup("main")).getAddress());
    std::atexit(print_counts); // the program may end by exit()
    std::exit(program(argc - 1, argv + 1));
}
