// Functions: their variables, statements and calls.
#include "tools/ic-run/compiler.h"

#include <algorithm>

namespace {
constexpr std::uint32_t most_variables = 4096; // in registers
constexpr std::uint64_t most_units = 1u << 20; // of a frame; more than any memory has
constexpr std::uint32_t variable_gap = 2;      // units between variables, with checking
constexpr std::uint32_t most_registers = 0xffff;
} // namespace

SHAPE shape_of(const RUN_TYPE &type) {
    switch (type.kind) {
    case TYPE_KIND::integer:
    case TYPE_KIND::pointer: return {SHAPE_KIND::number, type.units};
    case TYPE_KIND::floating: return {SHAPE_KIND::floating, type.units};
    case TYPE_KIND::record:
    case TYPE_KIND::array: return {SHAPE_KIND::record, type.units};
    default: return {};
    }
}

std::string shape_text(const SHAPE &shape) {
    switch (shape.kind) {
    case SHAPE_KIND::number: return "a number of " + std::to_string(shape.units * 16) + " bits";
    case SHAPE_KIND::floating: return "a float";
    case SHAPE_KIND::record: return "a class of " + std::to_string(shape.units) + " units";
    default: return "nothing";
    }
}

COMPILED compile_program(PROGRAM &program, const RUN_OPTIONS &options) {
    COMPILED out;
    out.functions.resize(program.functions.size());
    for (std::size_t i = 0; i < program.functions.size(); ++i) {
        const auto first = static_cast<std::uint32_t>(out.segments.size());
        FUNCTION_COMPILER(program, out, options, i).run();
        out.functions[i].first_segment = first;
        out.functions[i].segments = static_cast<std::uint32_t>(out.segments.size()) - first;
    }
    return out;
}

FUNCTION_COMPILER::FUNCTION_COMPILER(PROGRAM &program, COMPILED &out, const RUN_OPTIONS &options,
                                     std::size_t index)
    : program_(program), out_(out), options_(options), function_(out.functions[index]),
      source_(program.functions[index]), file_(*source_.file), model_(*file_.model),
      records_(model_.sections[IF_BODY].records), first_site_(out.sites.size()),
      first_switch_(out.switches.size()) {}

void FUNCTION_COMPILER::run() {
    const RUN_TYPE &of = file_.type(source_.type);
    function_.variadic = of.variadic;
    function_.prototyped = of.prototyped;
    function_.result = shape_of(file_.type(of.base));
    for (std::uint32_t param : of.params)
        function_.params.push_back(shape_of(file_.type(param)));
    if (source_.first == source_.end) return;
    find_locals();
    find_scalars();
    find_stores();
    place_locals();
    new_segment();
    for (std::uint32_t i = source_.first; i < source_.end;
         i = node(i).tag == IF_TAG_eht ? std::max(i + 1, node(i).end) : i + 1) {
        const IF_RECORD &r = node(i);
        if (r.tag == IF_TAG_label) bind(label_numbered(model_.number(r, 0)));
        if (r.tag != IF_TAG_expr) continue;
        function_.places.push_back(
            {static_cast<std::uint32_t>(function_.code.size()), model_.psn(r, 0)});
        if (options_.trace)
            emit(CODE_TRACE, 0, 0, 0, static_cast<std::uint32_t>(function_.places.size() - 1));
        statement(i + 1);
        top_ = variables_;
    }
    finish();
}

// --- preparation

void FUNCTION_COMPILER::find_locals() {
    std::int32_t level = 1;
    for (std::uint32_t i = source_.first; i < source_.end; ++i) {
        const IF_RECORD &r = node(i);
        switch (r.tag) {
        case IF_TAG_end_args: level = 2; break;
        case IF_TAG_begin_block: ++level; break;
        case IF_TAG_end_block: --level; break;
        case IF_TAG_symbol: {
            LOCAL local;
            local.type = &file_.type(model_.number(r, IF_SYM::type));
            local.level = level;
            local.scalar_only = local.type->is_scalar();
            locals_.push_back(local);
            break;
        }
        default: break;
        }
    }
}

const FUNCTION_COMPILER::LOCAL *FUNCTION_COMPILER::local_of(std::uint32_t i) const {
    return payload(i) == 0 ? nullptr : &locals_[static_cast<std::size_t>(payload(i, 1))];
}

const RUN_FUNCTION *FUNCTION_COMPILER::function_of(std::uint32_t i, std::uint32_t &index) const {
    if (op(i) != OP::NAME || payload(i) != 0) return nullptr;
    const RUN_FILE::SYMBOL &symbol = file_.symbols[static_cast<std::size_t>(payload(i, 1))];
    if (symbol.kind != RUN_FILE::SYMBOL::function) return nullptr;
    index = symbol.value;
    return &program_.functions[index];
}

// Variables stay scalars when trees only read and assign them.
void FUNCTION_COMPILER::find_scalars() {
    for (std::uint32_t i = source_.first; i < source_.end; ++i) {
        if (node(i).tag != IF_TAG_node || op(i) != OP::NAME || payload(i) == 0) continue;
        LOCAL &local = locals_[static_cast<std::size_t>(payload(i, 1))];
        const RUN_TYPE &as = type(i);
        if (!as.is_scalar() || as.units != local.type->units) local.scalar_only = false;
        if (node(i - 1).tag != IF_TAG_node || node(i - 1).end < node(i).end) continue;
        switch (op(i - 1)) {
        case OP::UAND:
        case OP::ARGREF:
        case OP::STDOT:
        case OP::STFIELD:
        case OP::VFIELD:
        case OP::REAL:
        case OP::IMAG: local.scalar_only = false; break;
        default: break;
        }
    }
}

void FUNCTION_COMPILER::find_stores() {
    const std::uint32_t records = source_.end - source_.first;
    next_store_.assign(records + 1, source_.end);
    for (std::uint32_t i = records; i-- > 0;) {
        const IF_RECORD &r = node(source_.first + i);
        const bool stores = r.tag == IF_TAG_node &&
                            (side_effects[r.selector] == SE_STORE || r.selector == OP::ARASG);
        next_store_[i] = stores ? source_.first + i : next_store_[i + 1];
    }
}

bool FUNCTION_COMPILER::stores_within(std::uint32_t i) const {
    return next_store_[i - source_.first] < node(i).end;
}

std::uint32_t FUNCTION_COMPILER::frame_room(std::uint32_t units, std::uint32_t align) {
    if (align > 1) frame_ = (frame_ + 1) & ~std::uint64_t{1};
    const auto offset = static_cast<std::uint32_t>(frame_);
    frame_ = std::min(most_units, frame_ + units + (options_.check ? variable_gap : 0));
    if (options_.check && units && frame_ < most_units)
        function_.variables.push_back({offset, units});
    return offset;
}

// Variables in registers have room in the frame as well, so that a frame's size does not depend on
// how the program is run.
void FUNCTION_COMPILER::place_locals() {
    std::uint64_t argument = 0;
    for (LOCAL &local : locals_) {
        if (local.level == 1) {
            if (local.type->align > 1) argument = (argument + 1) & ~std::uint64_t{1};
            local.offset = static_cast<std::uint32_t>(argument);
            argument = std::min(most_units, argument + local.type->units);
            if (!function_.prototyped) function_.params.push_back(shape_of(*local.type));
            continue;
        }
        local.offset = frame_room(local.type->units, local.type->align);
        local.in_register = local.scalar_only && !options_.check && variables_ < most_variables;
        if (local.in_register) local.reg = static_cast<REG>(variables_++);
    }
    top_ = function_.registers = variables_;
}

// --- statements

void FUNCTION_COMPILER::statement(std::uint32_t i) {
    switch (op(i)) {
    case OP::BRANCH:
        count_node(COST_branch);
        jump(CODE_JMP, label_of(left(i)));
        break;
    case OP::CBRANCH:
        count_node(COST_branch);
        branch(left(i), false, label_of(right(i)));
        break;
    case OP::SWITCH: switch_statement(i); break;
    case OP::RETURN:
    case OP::URETURN: return_statement(i); break;
    default: effect(i); break;
    }
}

void FUNCTION_COMPILER::switch_statement(std::uint32_t i) {
    static constexpr std::uint32_t no_default = ~0u;
    count_node(COST_branch);
    const RUN_TYPE &of = type(left(i));
    SWITCH_TABLE table;
    table.otherwise = no_default;
    const auto add_case = [&](std::uint32_t n) {
        if (op(n) == OP::DEFAULT)
            table.otherwise = label_of(left(n));
        else if (op(n) == OP::CASE)
            table.cases.push_back(
                {converted(static_cast<std::uint32_t>(payload(left(n))), type(left(n)), of),
                 label_of(right(n))});
    };
    std::uint32_t n = right(i);
    for (; op(n) == OP::COMMA; n = left(n))
        add_case(right(n));
    add_case(n);
    std::stable_sort(table.cases.begin(), table.cases.end(),
                     [](const auto &a, const auto &b) { return a.value < b.value; });
    const bool goes_on = table.otherwise == no_default;
    const std::uint32_t behind = goes_on ? new_label() : 0;
    if (goes_on) table.otherwise = behind;
    emit(CODE_SWITCH, value(left(i)), 0, 0, static_cast<std::uint32_t>(out_.switches.size()));
    out_.switches.push_back(std::move(table));
    new_segment();
    if (goes_on) bind(behind);
}

void FUNCTION_COMPILER::return_statement(std::uint32_t i) {
    count_node(COST_branch);
    const RUN_TYPE &result = file_.type(file_.type(source_.type).base);
    if (op(i) == OP::URETURN) {
        emit(CODE_RETV);
    } else if (result.kind == TYPE_KIND::record) {
        count(COST_copied, result.units);
        emit(CODE_RETC, value(right(i)), 0, 0, result.units);
    } else {
        emit(CODE_RET, value_as(right(i), result));
    }
    new_segment();
}

// Ends the function and puts in what was not known before: the size of the variables, behind which
// the arguments of calls lie, and where labels are.
void FUNCTION_COMPILER::finish() {
    emit(CODE_RETV);
    frame_ = (frame_ + 1) & ~std::uint64_t{1};
    const auto variables_end = static_cast<std::uint32_t>(frame_);
    for (std::uint32_t at : outgoing_uses_) {
        INSN &insn = function_.code[at];
        (insn.code == CODE_PUTC ? insn.target : insn.imm) += variables_end;
    }
    for (std::size_t i = first_site_; i < out_.sites.size(); ++i)
        out_.sites[i].arguments += variables_end;
    function_.frame_units =
        static_cast<std::uint32_t>(std::min(most_units, frame_ + most_outgoing_));
    std::vector<std::uint32_t> positions;
    for (const LABEL &label : labels_)
        positions.push_back(label.position);
    if (std::count(positions.begin(), positions.end(), LABEL::unknown)) {
        const auto nowhere = static_cast<std::uint32_t>(function_.code.size());
        fault("jump to a label that is nowhere");
        std::replace(positions.begin(), positions.end(), LABEL::unknown, nowhere);
    }
    for (INSN &insn : function_.code)
        if (insn.code == CODE_JMP || insn.code == CODE_JZ || insn.code == CODE_JNZ ||
            (insn.code >= CODE_JEQ && insn.code <= CODE_JGES32_I))
            insn.target = positions[insn.target];
    for (std::size_t i = first_switch_; i < out_.switches.size(); ++i) {
        SWITCH_TABLE &table = out_.switches[i];
        table.otherwise = positions[table.otherwise];
        for (SWITCH_TABLE::CASE &c : table.cases)
            c.target = positions[c.target];
    }
}

// --- calls

FUNCTION_COMPILER::REG FUNCTION_COMPILER::call(std::uint32_t i, bool wanted, int hint) {
    const std::uint32_t mark = top_;
    const RUN_TYPE &result = type(i);
    const std::uint32_t callee = left(i);
    std::uint32_t index = 0;
    const RUN_FUNCTION *direct = nullptr;
    REG callee_reg = 0;
    if (op(callee) == OP::UAND) direct = function_of(left(callee), index);
    if (!direct) direct = function_of(callee, index);
    std::vector<std::uint32_t> arguments;
    if (op(i) == OP::CALL) {
        std::uint32_t n = right(i);
        for (; op(n) == OP::COMMA; n = left(n))
            arguments.push_back(right(n));
        arguments.push_back(n);
        std::reverse(arguments.begin(), arguments.end());
    }
    if (!direct) {
        callee_reg = value(callee);
        const bool changes = std::any_of(arguments.begin(), arguments.end(),
                                         [&](std::uint32_t n) { return stores_within(n); });
        if (is_variable(callee_reg) && changes) {
            const REG copy = new_register();
            emit(CODE_MOV, copy, callee_reg);
            callee_reg = copy;
        }
    }

    const std::uint64_t outer = outgoing_;
    outgoing_ = (outgoing_ + 1) & ~std::uint64_t{1};
    CALL_SITE site;
    site.arguments = static_cast<std::uint32_t>(outgoing_);
    std::uint64_t end = outgoing_;
    std::vector<std::uint32_t> offsets;
    for (std::uint32_t n : arguments) {
        if (type(n).align > 1) end = (end + 1) & ~std::uint64_t{1};
        offsets.push_back(static_cast<std::uint32_t>(end));
        end = std::min(most_units, end + type(n).units);
        site.shapes.push_back(shape_of(type(n)));
    }
    site.argument_units = static_cast<std::uint32_t>(end - outgoing_);
    outgoing_ = end;
    most_outgoing_ = std::max(most_outgoing_, outgoing_ + 2);
    for (std::size_t k = 0; k < arguments.size(); ++k) {
        const std::uint32_t n = arguments[k], before = top_;
        const RUN_TYPE &of = type(n);
        const REG reg = value(n);
        outgoing_uses_.push_back(static_cast<std::uint32_t>(function_.code.size()));
        if (of.is_scalar()) {
            emit(of.units == 1 ? CODE_PUT16 : CODE_PUT32, reg, 0, 0, offsets[k]);
        } else {
            count(COST_copied, of.units);
            emit(CODE_PUTC, reg, 0, 0, of.units).target = offsets[k];
        }
        top_ = before;
    }
    outgoing_ = outer;

    top_ = mark;
    count_node(direct && direct->library ? COST_library : COST_call);
    site.result = shape_of(result);
    site.result_used = wanted && result.kind != TYPE_KIND::nothing;
    REG reg = 0;
    if (result.kind == TYPE_KIND::record) {
        site.result_place = frame_room(result.units, result.align);
    } else if (site.result_used) {
        reg = destination(hint);
        site.result_register = reg;
    }
    const auto site_number = static_cast<std::uint32_t>(out_.sites.size());
    const std::uint32_t place = site.result_place;
    out_.sites.push_back(std::move(site));
    if (direct)
        emit(CODE_CALL, 0, 0, 0, index).target = site_number;
    else
        emit(CODE_CALLR, 0, callee_reg).target = site_number;
    new_segment();
    if (result.kind == TYPE_KIND::record && wanted) {
        reg = destination(hint);
        emit(CODE_LEAF, reg, 0, 0, place);
    }
    return reg;
}

// --- instructions

INSN &FUNCTION_COMPILER::emit(CODE code, REG a, REG b, REG c, std::uint32_t imm) {
    INSN insn;
    insn.code = code;
    insn.a = a;
    insn.b = b;
    insn.c = c;
    insn.imm = imm;
    function_.code.push_back(insn);
    segment_begins_ = false;
    return function_.code.back();
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::new_register() {
    if (top_ >= most_registers)
        throw RUN_ERROR{RF_file, file_.name + ": function '" + source_.name +
                                     "' has an expression that is too large"};
    function_.registers = std::max(function_.registers, top_ + 1);
    return static_cast<REG>(top_++);
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::settle(REG reg, std::uint32_t mark) {
    top_ = mark;
    if (reg < mark) return reg;
    const REG low = new_register();
    if (low != reg) emit(CODE_MOV, low, reg);
    return low;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::kept(REG reg, std::uint32_t next) {
    if (!is_variable(reg) || !stores_within(next)) return reg;
    const REG copy = new_register();
    emit(CODE_MOV, copy, reg);
    return copy;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::emit_constant(std::uint32_t constant_value, int hint) {
    const REG reg = destination(hint);
    emit(CODE_LDI, reg, 0, 0, constant_value);
    return reg;
}

std::uint32_t FUNCTION_COMPILER::new_label() {
    labels_.emplace_back();
    return static_cast<std::uint32_t>(labels_.size() - 1);
}

// A segment that begins here serves the label as well.
void FUNCTION_COMPILER::bind(std::uint32_t label) {
    new_segment();
    labels_[label].position =
        static_cast<std::uint32_t>(function_.code.size()) - (segment_begins_ ? 1 : 0);
}

void FUNCTION_COMPILER::jump(CODE code, std::uint32_t label, REG a, REG b, std::uint32_t imm) {
    emit(code, a, b, 0, imm).target = label;
    new_segment();
}

std::uint32_t FUNCTION_COMPILER::label_of(std::uint32_t i) {
    while (op(i) == OP::EPVAL)
        i = left(i);
    return op(i) == OP::LABEL ? label_numbered(payload(i)) : new_label();
}

std::uint32_t FUNCTION_COMPILER::label_numbered(std::int64_t number) {
    const auto [entry, is_new] = label_numbers_.try_emplace(number, 0);
    if (is_new) entry->second = new_label();
    return entry->second;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::fault(const std::string &text) {
    emit(CODE_FAULT, 0, 0, 0, static_cast<std::uint32_t>(out_.messages.size()));
    out_.messages.push_back(text);
    return new_register();
}

// --- counting

void FUNCTION_COMPILER::count(COST_CLASS cost, std::uint64_t times) {
    if (options_.counts_nodes()) out_.segments[segment_].counts[cost] += times;
    if (times) segment_begins_ = false;
}

void FUNCTION_COMPILER::count_node(COST_CLASS cost) {
    count(cost);
    if (options_.counts_nodes()) ++out_.segments[segment_].nodes;
}

// What comes now is executed as often as all that follows before the next segment.
void FUNCTION_COMPILER::new_segment() {
    if (!options_.counts_nodes() || segment_begins_) return;
    segment_ = static_cast<std::uint32_t>(out_.segments.size());
    out_.segments.emplace_back();
    emit(CODE_COUNT, 0, 0, 0, segment_);
    segment_begins_ = true;
}
