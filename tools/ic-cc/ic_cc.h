// The translator from clang's syntax tree to icode. One object translates one file.
//
// clang parses and checks the C; its char has 8 bits, though, and the machine's has 16. So nothing
// that depends on sizes is taken from clang: types, layouts, sizeof and constant expressions are
// worked out here (types.cpp, constants.cpp).
#pragma once

#include "tools/ic-cc/model.h"
#include "tools/ic-cc/pragmas.h"

#include "clang/AST/ASTContext.h"
#include "clang/AST/Attr.h"
#include "clang/AST/Decl.h"
#include "clang/AST/DeclCXX.h"
#include "clang/AST/Expr.h"
#include "clang/AST/ExprCXX.h"
#include "clang/AST/GlobalDecl.h"
#include "clang/AST/Mangle.h"
#include "clang/AST/Stmt.h"
#include "clang/AST/StmtCXX.h"
#include "clang/AST/TypeLoc.h"
#include "clang/Basic/Diagnostic.h"
#include "clang/Basic/SourceManager.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

// A constant: a number, or an address (a symbol or a string, and an offset in units).
struct constant {
    enum kind_t { none, integer, floating, address } kind = none;
    const type *ctype = nullptr;
    std::int64_t value = 0;                       // integer; address: offset in units
    float fvalue = 0;                             // floating
    symbol *base = nullptr;                       // address
    const clang::StringLiteral *string = nullptr; // address
};

// Counts how deep the translator is in a statement or expression.
struct depth_counter {
    unsigned &depth;
    explicit depth_counter(unsigned &d) : depth(d) { ++depth; }
    ~depth_counter() { --depth; }
    depth_counter(const depth_counter &) = delete;
    depth_counter &operator=(const depth_counter &) = delete;
};
inline constexpr unsigned statement_nesting_limit = 4000;
inline constexpr unsigned expression_nesting_limit = 2000; // a file allows 10,000 levels

class translator {
public:
    translator(clang::ASTContext &context, pragma_store &pragmas, icode_unit &unit,
               std::string header_name);
    // Translates all of the file; false when something was refused.
    bool translate();
    // Sizes, alignments and offsets of the basic types and of all records that the file defines.
    std::string sizes();

private:
    using target_maker = std::function<node *()>; // makes an lvalue, a new tree each time
    using class_path = llvm::ArrayRef<const clang::CXXRecordDecl *>; // of bases, outermost first
    // An object that is destroyed when its scope or statement ends.
    struct cleanup {
        symbol *object;
        const clang::CXXDestructorDecl *destructor;
        symbol *flag; // tells at run time whether there is one; null: there is
    };
    struct function_state {
        const clang::FunctionDecl *decl = nullptr;
        function_body body;
        std::unordered_map<const clang::ValueDecl *, symbol *> locals;
        std::vector<std::pair<const clang::ParmVarDecl *, symbol *>> params; // level 1
        std::map<const clang::ParmVarDecl *, symbol *> copies;               // level 2
        std::unordered_map<const clang::LabelDecl *, unsigned> labels;
        std::vector<unsigned> break_labels, continue_labels;
        std::vector<std::size_t> break_marks, continue_marks; // of `cleanups`
        std::vector<std::size_t> open_blocks;                 // indices of block_begin items
        unsigned last_label = 0;
        unsigned temporaries = 0;
        unsigned depth = 0;    // of nested blocks
        bool reachable = true; // the next statement can be reached by falling into it
        std::unordered_map<const clang::SwitchCase *, unsigned> case_labels;
        bool may_hoist = false;  // the body has statements with control flow in expressions
        bool collecting = false; // statements become part of an expression
        node *collected = nullptr;
        std::vector<const clang::LabelDecl *> taken_labels; // those whose address is taken
        // Parameters of a definition without prototype that are narrower than what is passed.
        std::vector<std::pair<const clang::ParmVarDecl *, symbol *>> narrowed;
        // C++: parameters without declaration, as passed and in the body; the objects to destroy;
        // what a lambda's operator() has captured.
        std::vector<std::pair<symbol *, symbol *>> hidden;
        symbol *this_copy = nullptr, *result_copy = nullptr;
        unsigned return_label = 0; // of a destructor, before what it destroys
        std::vector<cleanup> cleanups, temporaries_alive;
        unsigned conditional = 0; // depth of operands that may not be evaluated
        std::unordered_map<const clang::ValueDecl *, const clang::FieldDecl *> captures;
        clang::FieldDecl *captured_this = nullptr;
        unsigned in_comma = 0; // initialisers become operands of commas
    };

    // --- failures and positions
    node *refuse(clang::SourceLocation at, const std::string &what); // gives a harmless tree
    position pos(clang::SourceLocation at);

    // --- types (types.cpp)
    const type *conv(clang::QualType qt);
    const type *conv(clang::TypeLoc tl);
    const type *conv_named(const clang::TypedefNameDecl *decl);
    type *conv_record(const clang::RecordDecl *decl);
    const type *conv_enum(const clang::EnumDecl *decl);
    const type *conv_function(clang::FunctionTypeLoc tl);
    const type *conv_array(clang::ArrayTypeLoc tl);
    const type *conv_builtin(const clang::BuiltinType *bt);
    const type *decl_type(const clang::DeclaratorDecl *decl);
    const type *function_type(const clang::FunctionDecl *decl);
    const type *value_type(clang::QualType qt); // of an arithmetic value: a basic type
    const type *unqualified(const type *t);
    const type *complete(const type *t); // lays out the record that t is
    const type *decayed(const type *t);  // arrays and functions to pointers
    const type *element_of(const type *array);
    const type *pointee(const type *pointer);
    const type *promoted(const type *t);
    std::uint32_t size_of(const type *t, clang::SourceLocation at); // units
    std::uint32_t stride_bits(const type *pointer, clang::SourceLocation at);
    std::uint32_t written_alignment(const clang::Decl *decl);
    void check_packing(const clang::RecordDecl *definition, const type &record);
    const member *find_member(const clang::FieldDecl *field, const type **record);
    void complete_all_records();
    const type *expr_type(const clang::Expr *e); // of an unevaluated operand

    // --- constants (constants.cpp)
    bool evaluate(const clang::Expr *e, constant &v);
    bool evaluate_lvalue(const clang::Expr *e, constant &v);
    bool evaluate_unary(const clang::UnaryOperator *e, constant &v);
    bool evaluate_binary(const clang::BinaryOperator *e, constant &v);
    bool evaluate_cast(const clang::CastExpr *e, constant &v);
    bool evaluate_call(const clang::CallExpr *e, constant &v);
    bool evaluate_cpp(const clang::Expr *e, constant &v);
    bool evaluate_variable(const clang::VarDecl *var, constant &v);
    bool evaluate_truth(const clang::Expr *e, bool &truth);
    std::optional<std::int64_t> evaluate_integer(const clang::Expr *e);
    bool offset_of(const clang::OffsetOfExpr *e, constant &v);
    std::int64_t enumerator_value(const clang::EnumConstantDecl *decl);
    std::int64_t size_or_align(const clang::UnaryExprOrTypeTraitExpr *e);
    bool convert(constant &v, const type *to);
    node *constant_tree(const constant &v, const type *t);
    void check_static_assert(const clang::StaticAssertDecl *decl);

    // --- declarations (decls.cpp)
    void top_level(const clang::Decl *decl);
    void function_definition(const clang::FunctionDecl *decl);
    void make_params();
    void make_prolog();
    symbol *function_symbol(const clang::FunctionDecl *decl);
    symbol *variable_symbol(const clang::VarDecl *decl);
    symbol *static_local(const clang::VarDecl *decl);
    symbol *param_symbol(const clang::ParmVarDecl *decl, bool as_passed);
    symbol *hidden_static(const char *stem, const type *t, clang::SourceLocation at);
    symbol *wide_string(const clang::StringLiteral *s);
    symbol *temporary(const type *t);
    void local_variable(const clang::VarDecl *decl);
    void function_pragmas(const clang::FunctionDecl *decl, symbol *s);
    void attach_pragmas(symbol *s, llvm::StringRef name);
    std::string unique_global_name(const std::string &wanted);
    void check_attributes(const clang::Decl *decl);
    bool defines_here(const clang::FunctionDecl *definition);
    bool on_demand(const clang::FunctionDecl *f); // defined only when something refers to it
    void define_pending();
    const type *passed_type(const clang::ParmVarDecl *p);
    const type *body_type(const clang::ParmVarDecl *p);
    const type *flexible_type(const clang::VarDecl *v, const type *t);

    // --- initialisers (init.cpp)
    void static_init(symbol *s, const clang::Expr *init);
    struct image;
    struct image_cell;
    struct dynamic_part;
    void place(image &img, const type *t, const clang::Expr *init, std::uint32_t offset,
               const target_maker &target);
    void place_scalar(image &img, const type *t, const clang::Expr *init, std::uint32_t offset,
                      const target_maker &target);
    void place_string(image &img, const type *t, const clang::StringLiteral *s,
                      std::uint32_t offset);
    void split_string(image &img, const type *t, std::uint32_t offset);
    void place_record(image &img, const type *t, const clang::InitListExpr *list,
                      std::uint32_t offset, const target_maker &target);
    void not_constant(image &img, const clang::Expr *init);
    void place_bits(image &img, const member &m, std::int64_t value, std::uint32_t offset);
    void check_designators(const clang::InitListExpr *list);
    std::vector<node *> image_trees(const image &img, std::uint32_t size_bits);
    void auto_init(const type *t, const clang::Expr *init, const target_maker &target,
                   const std::function<void(node *)> &emit);

    // --- statements in expressions (hoist.cpp)
    bool straight_line(const clang::Stmt *s);
    bool contains_flow(const clang::Stmt *s);
    bool hoists(const clang::Expr *e);
    void survey(const clang::Stmt *body);
    node *settled(node *n);
    node *settled_lvalue(node *lv);
    node *statement_expression(const clang::StmtExpr *e);
    node *logical_by_branches(const clang::BinaryOperator *e);
    node *conditional_by_branches(node *cond, const clang::Expr *a, const clang::Expr *b,
                                  clang::QualType qt);

    // --- expressions (expr.cpp, assign.cpp, calls.cpp, builtins.cpp)
    node *rvalue(const clang::Expr *e);
    node *rvalue_inner(const clang::Expr *e);
    node *lvalue(const clang::Expr *e);
    node *lvalue_inner(const clang::Expr *e);
    node *discarded(const clang::Expr *e); // for its effects; null when it has none
    node *condition(const clang::Expr *e);
    node *negated(node *cond);
    node *conversion(const clang::CastExpr *e);
    node *unary(const clang::UnaryOperator *e);
    node *binary(const clang::BinaryOperator *e);
    node *add_sub(const clang::BinaryOperator *e);
    node *comparison(const clang::BinaryOperator *e);
    node *conditional(const clang::Expr *cond, const clang::Expr *a, const clang::Expr *b,
                      clang::QualType qt);
    node *member_ref(const clang::MemberExpr *e);
    bool is_pointer_to_object(const clang::VarDecl *v);
    node *variable_ref(const clang::VarDecl *v);
    node *decl_ref(const clang::DeclRefExpr *e);
    node *compound_literal(const clang::CompoundLiteralExpr *e);
    node *string_address(const clang::StringLiteral *s);
    node *increment(const clang::UnaryOperator *e, bool value_wanted);
    node *compound_assign(const clang::CompoundAssignOperator *e);
    node *assign(node *target, node *source);
    node *call(const clang::CallExpr *e);
    node *conditional_without_middle(const clang::BinaryConditionalOperator *e);
    std::vector<node *> arguments(llvm::ArrayRef<const clang::Expr *> exprs);
    node *call_symbol(symbol *callee, const std::vector<node *> &args);
    symbol *library_function(llvm::StringRef function, const type *t);
    node *builtin_call(const clang::CallExpr *e, unsigned id);
    node *overflow_call(const clang::CallExpr *e, symbol *helper);
    node *va_start(const clang::CallExpr *e);
    node *va_arg(const clang::VAArgExpr *e);

    // --- classes (cpp_classes.cpp)
    struct virtual_slot {
        const clang::CXXMethodDecl *method;
        bool deleting; // the destructor that gives the memory back
    };
    struct table_part {
        std::vector<const clang::CXXRecordDecl *> path;
        const clang::CXXRecordDecl *owner;
        unsigned first;
    };
    bool in_cpp() const { return mangler_ != nullptr; }
    const clang::CXXRecordDecl *primary_base(const clang::CXXRecordDecl *c);
    void add_base_members(const clang::CXXRecordDecl *c, type &record);
    const type *slot_type();
    const member &base_member(const clang::CXXRecordDecl *c, const clang::CXXRecordDecl *base);
    node *base_lvalue(node *object_lv, const clang::CXXRecordDecl *c, class_path path);
    std::uint32_t base_offset(const clang::CXXRecordDecl *c, class_path path); // units
    std::vector<const clang::CXXRecordDecl *> cast_path(const clang::CastExpr *e);
    const std::vector<virtual_slot> &slots(const clang::CXXRecordDecl *c);
    unsigned slot_of(const clang::CXXMethodDecl *m, bool deleting);
    void collect_tables(const clang::CXXRecordDecl *c,
                        std::vector<const clang::CXXRecordDecl *> path,
                        std::vector<table_part> &parts, unsigned &next);
    symbol *final_overrider(const clang::CXXRecordDecl *whole, class_path path,
                            const virtual_slot &slot);
    symbol *thunk(symbol *target, std::uint32_t back);
    symbol *vtable(const clang::CXXRecordDecl *c);
    node *vtable_pointer(node *object_lv, const clang::CXXRecordDecl *c);
    void set_vtables(const clang::CXXRecordDecl *c);
    node *virtual_function(node *object_lv, const clang::CXXMethodDecl *m, bool deleting);

    // --- functions and objects of C++ (cpp_functions.cpp)
    void mark_cpp(symbol *s);
    std::string linkage_name(clang::GlobalDecl decl);
    std::string function_name(const clang::FunctionDecl *f);
    bool by_address(clang::QualType qt); // passed by the address of an object
    const type *machine_function(const type *written, clang::QualType result,
                                 llvm::ArrayRef<clang::QualType> params);
    const type *with_this(const type *function, const clang::CXXMethodDecl *m);
    bool is_instance_method(const clang::FunctionDecl *f);
    node *this_object();
    const clang::CXXDestructorDecl *needed_destructor(clang::QualType qt);
    node *destructor_call(node *object_lv, const clang::CXXDestructorDecl *d);
    void for_elements(const type *t, const target_maker &target, bool backwards,
                      const std::function<void(const target_maker &)> &action);
    void destroy(const type *t, const target_maker &target, const clang::CXXDestructorDecl *d);
    void leave_scope(std::size_t mark);
    void destroy_down_to(std::size_t mark);
    void add_temporary_cleanup(symbol *object, const clang::CXXDestructorDecl *d);
    void destroy_temporaries(std::size_t mark);
    void hidden_params(const clang::FunctionDecl *f);
    void constructor_prologue(const clang::CXXConstructorDecl *c);
    void initialise_member(const clang::CXXCtorInitializer *init,
                           const std::function<void(node *)> &emit);
    void initialise(clang::QualType qt, const type *t, const clang::Expr *value,
                    const target_maker &target, const std::function<void(node *)> &emit);
    void destructor_epilogue(const clang::CXXDestructorDecl *d);
    symbol *deleting_destructor(const clang::CXXDestructorDecl *d);
    void static_invoker(const clang::CXXMethodDecl *m);
    void enter_lambda(const clang::CXXMethodDecl *m);
    void copy_elements(const type *t, const clang::ArrayInitLoopExpr *e, const target_maker &target,
                       const std::function<void(node *)> &emit);
    bool is_static_image(const type *t, const clang::Expr *init);
    bool constant_object(const clang::VarDecl *v, symbol *s);
    void cpp_static_object(const clang::VarDecl *v, symbol *s);
    void guarded_static(const clang::VarDecl *v, symbol *s);
    void write_start_function();
    void start_object(const clang::VarDecl *v, symbol *s);
    node *register_at_exit(symbol *object_symbol, const clang::CXXDestructorDecl *d);

    // --- expressions of C++ (cpp_expr.cpp)
    node *argument(const clang::Expr *e);
    node *call_pointer(node *callee, const std::vector<node *> &args, clang::SourceLocation at);
    node *constructor_call(node *object_lv, const clang::CXXConstructExpr *e);
    void construct(const target_maker &target, const clang::Expr *value,
                   const std::function<void(node *)> &emit);
    node *zero_object(const type *t);
    node *class_value(const clang::Expr *e);
    node *bound_temporary(const clang::Expr *e, const clang::ValueDecl *extended);
    node *copy_assignment(const clang::CallExpr *e);
    node *call_into(const clang::CallExpr *e, node *result_to);
    node *method_callee(const clang::CXXMethodDecl *m, node *object_lv, bool qualified,
                        std::vector<node *> &args);
    node *release_memory(node *pointer, const clang::FunctionDecl *op);
    node *new_object(const clang::CXXNewExpr *e);
    void new_elements(const clang::CXXNewExpr *e, symbol *at, symbol *count);
    node *delete_object(const clang::CXXDeleteExpr *e);
    node *class_conversion(const clang::CastExpr *e);
    const clang::CXXRecordDecl *class_of(const clang::Expr *e);
    node *moved_pointer(node *pointer, const type *to, std::int64_t offset, bool may_be_null);
    node *cpp_rvalue(const clang::Expr *e);
    node *with_cleanups(const clang::ExprWithCleanups *e);
    node *cpp_lvalue(const clang::Expr *e);
    node *value_of_assignment(const clang::Expr *e);
    node *reread(node *stored);

    // --- trees (trees.cpp)
    node *make(int op, const type *t, node *l = nullptr, node *r = nullptr) {
        return unit_.make(op, t, l, r);
    }
    node *icon(std::int64_t value, const type *t);
    node *icon(std::int64_t value) { return icon(value, types_.int_()); }
    node *fcon(float value, const type *t);
    node *name(symbol *s);
    node *object(symbol *s); // as the source sees it
    node *label_ref(unsigned number);
    node *address_of(node *lv);
    node *deref(node *pointer);
    node *dot(node *record_lv, const member &m, const type *record);
    node *scon(std::string_view text, const type *t);
    node *copy_tree(const node *n);
    node *convert_tree(node *n, const type *to); // between scalars
    node *truth(node *n);                        // as int 0 or 1
    node *null_pointer(const type *t);
    node *scaled(node *index, const type *pointer, clang::SourceLocation at);
    node *comma(node *first, node *second); // COMMAOP; first may be null
    node *class_lvalue(node *n);            // a class value as an lvalue
    bool pure(const node *n);
    node *effects(node *n); // what of n must be evaluated for its effects; null: nothing
    // Makes lv repeatable: what had effects goes before it, into `before`.
    node *repeatable(node *lv, node *&before);
    // Pushes an operation below the COMMAOPs on top of n.
    template <typename F> node *below_commas(node *n, F operation) {
        if (n->op == OP::COMMAOP) {
            n->right = below_commas(n->right, operation);
            n->ntype = n->right->ntype;
            return n;
        }
        return operation(n);
    }

    // --- statements (stmt.cpp)
    void statement(const clang::Stmt *s);
    void statements(const clang::CompoundStmt *s);
    void compound(const clang::CompoundStmt *s, bool own_scope);
    void expression_statement(const clang::Expr *e);
    void add_tree(node *n, clang::SourceLocation at);
    void add_label(unsigned number);
    void add_branch(unsigned label, clang::SourceLocation at);
    void add_cond_branch(node *cond, unsigned label_when_zero, clang::SourceLocation at);
    void open_block(clang::SourceLocation at);
    void close_block(clang::SourceLocation at);
    unsigned new_label() { return ++fn_->last_label; }
    unsigned label_of(const clang::LabelDecl *decl);
    unsigned label_value(const clang::LabelDecl *decl); // what its address is
    void computed_goto(const clang::IndirectGotoStmt *s);
    void loop(const clang::Expr *cond, const clang::Stmt *step, const clang::Stmt *body,
              clang::SourceLocation at, bool test_first, const clang::Stmt *first = nullptr);
    void if_statement(const clang::IfStmt *s);
    void range_loop(const clang::CXXForRangeStmt *s);
    void switch_statement(const clang::SwitchStmt *s);
    void return_statement(const clang::ReturnStmt *s);
    void asm_statement(const clang::AsmStmt *s);
    void loop_pragmas(clang::SourceLocation at);
    void declaration_statement(const clang::DeclStmt *s);
    bool has_declarations(const clang::CompoundStmt *s);

    clang::ASTContext &context_;
    clang::SourceManager &sources_;
    clang::DiagnosticsEngine &diags_;
    pragma_store &pragmas_;
    icode_unit &unit_;
    type_table &types_;
    std::string header_name_;
    unsigned refusal_;
    bool failed_ = false;
    unsigned nesting_ = 0; // of the expression being translated
    unsigned statement_nesting_ = 0;

    std::unordered_map<const clang::TypedefNameDecl *, const type *> named_types_;
    std::unordered_map<const clang::RecordDecl *, type *> records_;
    std::vector<const clang::RecordDecl *> record_order_;
    std::unordered_map<const type *, const clang::RecordDecl *> record_decls_;
    std::unordered_map<const clang::EnumDecl *, const type *> enums_;
    std::unordered_map<const clang::EnumConstantDecl *, std::int64_t> enumerators_;
    std::unordered_map<const clang::FieldDecl *, unsigned> field_indices_; // into members
    std::unordered_map<const clang::ValueDecl *, symbol *> global_symbols_;
    std::unordered_map<const clang::StringLiteral *, symbol *> wide_strings_;
    std::unordered_map<const clang::CompoundLiteralExpr *, symbol *> literals_;
    std::unordered_map<const type *, symbol *> zero_images_; // by unqualified type
    std::map<std::string, symbol *> library_symbols_;        // not declared by the source
    std::unordered_map<symbol *, const type *> flexible_;    // objects with their declared types
    std::unordered_map<const clang::OpaqueValueExpr *, symbol *> opaque_; // values at hand
    std::vector<const clang::FunctionDecl *> pending_; // functions to be defined on demand

    // C++ only.
    std::unique_ptr<clang::ItaniumMangleContext> mangler_;
    std::map<std::pair<const clang::CXXRecordDecl *, const clang::CXXRecordDecl *>, unsigned>
        base_indices_; // into members, by class and base
    std::map<const clang::CXXRecordDecl *, std::vector<virtual_slot>> slots_;
    std::map<const clang::CXXRecordDecl *, symbol *> vtables_;
    std::map<std::pair<symbol *, std::uint32_t>, symbol *> thunks_;
    std::map<const clang::CXXDestructorDecl *, symbol *> deleting_;
    std::vector<const clang::Decl *> dynamic_; // what runs before main, in order
    unsigned specialisations_ = 0;             // of class templates, for their names
    std::set<std::string> global_names_;
    unsigned hidden_ = 0;
    function_state *fn_ = nullptr; // null outside functions
    std::int64_t array_index_ = 0; // of the element of an array that is being copied
};
