// The state of one translation from Clang's AST to icode: the unit (types,
// layouts, global symbols, the output file) and the function being
// translated (its symbols, labels and statement records).
#pragma once
#include <clang/AST/ASTContext.h>
#include <clang/AST/Decl.h>
#include <clang/AST/Expr.h>
#include <clang/AST/Stmt.h>

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "icode/if_file.h"
#include "ir/int65.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/type_pkg.h"
#include "ir/types.h"

namespace c2i {

constexpr uint32_t kUnitBits = 16;  // the addressable unit

// Where a member of a structure or union lies, in bits from its start.
struct FIELD_PLACE {
  uint32_t offset = 0;
  uint32_t width = 0;  // bit-fields only
  bool bitfield = false;
  TYPE* type = nullptr;
  fkMDATA* member = nullptr;
};

struct RECORD_LAYOUT {
  TYPE* type = nullptr;
  uint32_t size = 0;   // bits
  uint32_t align = kUnitBits;
  bool complete = false;
  std::map<const clang::FieldDecl*, FIELD_PLACE> fields;
};

// One record of a function body, kept until the function's symbols are known.
struct BODY_ITEM {
  enum KIND { EXPR, LABEL, BEGIN_BLOCK, END_BLOCK } kind = EXPR;
  NODE* tree = nullptr;
  PSN* psn = nullptr;
  uint32_t label = 0;
};

struct SWITCH_STATE {
  TYPE* type = nullptr;
  std::vector<std::pair<int64_t, uint32_t>> cases;
  uint32_t default_label = 0;
};

struct FUNC {
  const clang::FunctionDecl* decl = nullptr;
  SYMTAB* sym = nullptr;
  TYPE* result = nullptr;
  std::vector<SYMTAB*> params;  // level 1, class 9
  std::vector<SYMTAB*> locals;  // level 2: user locals and temporaries
  std::map<const clang::VarDecl*, SYMTAB*> vars;
  std::vector<BODY_ITEM> items;
  std::map<const clang::LabelDecl*, uint32_t> labels;
  std::vector<uint32_t> breaks, continues;
  std::vector<SWITCH_STATE*> switches;
  uint32_t next_label = 1;
  int temp_count = 0;
  // Variable-length arrays (c2i_vla.cpp): the counts taken of each array
  // type, the stack marks of the VLAs in scope (oldest first), the marks
  // in scope at each label, and each goto taken from inside a VLA's scope.
  std::map<const clang::VariableArrayType*, SYMTAB*> vla_counts;
  std::vector<SYMTAB*> vla_marks;
  std::vector<size_t> break_depths, continue_depths;  // VLA marks in scope at each loop or switch
  std::map<uint32_t, std::vector<SYMTAB*>> label_marks;
  struct GOTO_MARKS {
    size_t item;  // the statement before the jump that may restore the stack
    uint32_t label;
    std::vector<SYMTAB*> marks;
  };
  std::vector<GOTO_MARKS> goto_marks;
};

struct UNIT {
  clang::ASTContext& ctx;
  clang::SourceManager& sm;
  I_FILE* out = nullptr;
  FUNC* fn = nullptr;  // the function being translated, or null

  std::map<const clang::Type*, TYPE*> type_cache;  // canonical unqualified types
  std::map<const clang::RecordDecl*, RECORD_LAYOUT> layouts;
  std::map<const clang::EnumDecl*, TYPE*> enum_types;
  std::map<const clang::EnumConstantDecl*, int64_t> enum_values;
  std::map<const clang::Decl*, SYMTAB*> globals;  // by canonical declaration
  std::map<std::string, SYMTAB*> functions;       // external functions by name
  std::map<const clang::OpaqueValueExpr*, SYMTAB*> opaque;  // bound by "a ?: b"
  std::map<const clang::Expr*, SYMTAB*> literal_objects;  // wide strings, compound literals
  std::vector<SYMTAB*> initialised;  // globals whose initialiser is written at the end
  std::map<SYMTAB*, const clang::Expr*> init_exprs;
  std::map<SYMTAB*, const clang::VarDecl*> init_decls;
  std::set<std::string> global_names;
  std::map<TYPE*, fkMDATA*> flex_heads;  // objects grown for a flexible member: their `head`

  UNIT(clang::ASTContext& c, clang::SourceManager& s) : ctx(c), sm(s) {}
};

// ---- Refusals (c2i_refuse.cpp): "c2icode: unsupported: WHAT at FILE:LINE:COL".
struct REFUSAL {
  std::string message;
};
[[noreturn]] void refuse(const UNIT& u, const std::string& what, clang::SourceLocation loc);
// An error of the program that only Rill's sizes reveal: "FILE:LINE:COL: error: WHAT".
[[noreturn]] void program_error(const UNIT& u, const std::string& what, clang::SourceLocation loc);

// Rill addresses 65536 units; an object must fit below that with room to spare.
constexpr uint64_t kAddressUnits = 65536;
constexpr uint64_t kLargestObjectUnits = kAddressUnits - 1;
// A type whose size leaves the address space, thrown where the type is made
// and reported where the object it belongs to is known (`what` names the
// type until then).
struct TOO_LARGE {
  std::string what;
  uint64_t units = 0;
  clang::SourceLocation loc;
};
// "FILE:LINE:COL: error: WHAT is N units, more than fit in Rill's
// 65536-unit address space".
std::string too_large_message(const UNIT& u, const TOO_LARGE& t);
[[noreturn]] void too_large(const UNIT& u, const std::string& what, uint64_t units, clang::SourceLocation loc);

// ---- Source positions (c2i_symbols.cpp).
PSN* make_psn(UNIT& u, clang::SourceLocation loc);

// ---- Types and layout (rill_types.cpp, rill_layout.cpp).
TYPE* rill_type(UNIT& u, clang::QualType t, clang::SourceLocation where);
TYPE* rill_unqualified(UNIT& u, clang::QualType t, clang::SourceLocation where);
uint32_t size_bits(UNIT& u, clang::QualType t, clang::SourceLocation where);
uint32_t align_bits(UNIT& u, clang::QualType t, clang::SourceLocation where);
const RECORD_LAYOUT& record_layout(UNIT& u, const clang::RecordDecl* rd);
const FIELD_PLACE& field_place(UNIT& u, const clang::FieldDecl* fd);
// The alignment that aligned(N) or _Alignas asks of a declaration, in bits;
// 0 when it asks none.
uint32_t decl_align_bits(UNIT& u, const clang::Decl* d);
TYPE* int_type(int basic);  // tp->basic[...]
TYPE* size_type();
TYPE* ptrdiff_type();
bool is_unsigned_type(TYPE* t);
TYPE* strip_quals(TYPE* t);

// ---- Constant expressions in Rill's terms (const_eval.cpp).
struct CVALUE {
  enum KIND { NONE, INT, FLOAT, ADDR } kind = NONE;
  int64_t i = 0;         // INT: the value, already truncated to `type`
  double f = 0;          // FLOAT: a binary32 value held exactly
  TYPE* type = nullptr;  // INT and FLOAT
  // ADDR: an object or function plus an offset in units; a null base is the
  // null pointer plus the offset.
  const clang::ValueDecl* decl = nullptr;
  const clang::Expr* literal = nullptr;  // string or compound literal
  int64_t offset = 0;
};
bool eval_const(UNIT& u, const clang::Expr* e, CVALUE& out);
// An integer constant expression, or a refusal naming `what`.
int64_t eval_int(UNIT& u, const clang::Expr* e, const char* what);
int64_t enum_value(UNIT& u, const clang::EnumConstantDecl* ec);
int64_t truncate_int(int64_t v, TYPE* t);
float to_binary32(const llvm::APFloat& v);

// ---- Symbols (c2i_symbols.cpp).
// Refuses the attributes of `d` that would change the program's meaning.
void check_attributes(UNIT& u, const clang::Decl* d);
SYMTAB* global_symbol(UNIT& u, const clang::ValueDecl* d);
SYMTAB* new_symbol(const std::string& name, TYPE* type, int sclass, PSN* psn);
// An external function known by name only (the library behind a builtin).
SYMTAB* library_function(UNIT& u, const std::string& name, TYPE* type, PSN* psn);
SYMTAB* local_symbol(UNIT& u, const clang::VarDecl* d);
SYMTAB* temp_symbol(UNIT& u, TYPE* type);
SYMTAB* literal_object(UNIT& u, const clang::Expr* e, TYPE* type, const char* stem);
std::string unique_global_name(UNIT& u, const std::string& wanted);

// ---- Trees (c2i_nodes.cpp): small constructors with Rill's types.
NODE* tree(int op, NODE* l, NODE* r, TYPE* type);
NODE* icon(int64_t v, TYPE* type);
NODE* fcon(float v, TYPE* type);
NODE* name_node(SYMTAB* s);
NODE* scon_node(const std::string& bytes, TYPE* array_type);
NODE* label_node(uint32_t label);
NODE* addr_of(NODE* lvalue, TYPE* ptr_type);
NODE* convert(NODE* n, TYPE* to);  // SCONV or PCONV when the types differ
NODE* null_pointer(TYPE* ptr_type);
NODE* zero_of(TYPE* t);
NODE* comma_list(const std::vector<NODE*>& args);  // left-nested COMMA
bool is_lvalue_node(const NODE* n);

// ---- Expressions (c2i_expr.cpp, c2i_calls.cpp).
NODE* translate_expr(UNIT& u, const clang::Expr* e);
// The condition `e` as an int 0/1-valued tree for a branch; `negate` gives
// the tree that is non-zero when `e` is false.
NODE* condition(UNIT& u, const clang::Expr* e, bool negate);
// A structure value as an lvalue tree (a temporary when it is not one).
NODE* struct_lvalue(UNIT& u, const clang::Expr* e);
NODE* materialize(UNIT& u, NODE* value, TYPE* type);
NODE* translate_call(UNIT& u, const clang::CallExpr* call);
NODE* translate_builtin(UNIT& u, const clang::CallExpr* call, unsigned id, bool& handled);
NODE* translate_va_arg(UNIT& u, const clang::VAArgExpr* e);
uint32_t elem_units(UNIT& u, clang::QualType pointer, clang::SourceLocation where);

// ---- Variable-length arrays (c2i_vla.cpp).
// The size of a type in units as a size_t tree: a constant, or the product
// of the counts its variable-length arrays were given.
NODE* size_units_tree(UNIT& u, clang::QualType t, clang::SourceLocation loc);
// The units one step of a pointer (or decayed array) moves, as a tree.
NODE* elem_size_tree(UNIT& u, clang::QualType pointer, clang::SourceLocation where);
bool is_vla_object(const clang::VarDecl* d);
// Takes the counts of the variable-length arrays that a declared type
// spells out, into the temporaries later sizes use.
void evaluate_vla_counts(UNIT& u, clang::QualType t, clang::SourceLocation loc);
// The declaration of a VLA object: its counts, the stack mark, the storage.
void declare_vla(UNIT& u, const clang::VarDecl* d);
// The local that points to a VLA object's storage has this type.
TYPE* vla_object_type(UNIT& u, const clang::VarDecl* d);
// The VLA object itself, *a.
NODE* vla_object(UNIT& u, const clang::VarDecl* d, SYMTAB* a);
// Scopes: how many VLAs are in scope; leaving a scope entered at `depth`
// restores the stack (release: without forgetting the VLAs, for a jump).
size_t vla_depth(UNIT& u);
void vla_release(UNIT& u, size_t depth, clang::SourceLocation loc);
void vla_leave(UNIT& u, size_t depth, clang::SourceLocation loc);
// gotos: the VLAs in scope at a label and at a jump; at the end of the
// function each jump restores what it leaves behind.
void vla_note_label(UNIT& u, uint32_t label);
void vla_note_goto(UNIT& u, uint32_t label, clang::SourceLocation loc);
void vla_patch_gotos(UNIT& u);

// ---- GNU statement expressions (c2i_stmt_expr.cpp).
// Whether `s` holds a statement expression, which must then run where C
// evaluates it: the operators that decide whether or when an operand runs
// (&&, ||, ?:, the comma) become branches around it.
bool contains_stmt_expr(const clang::Stmt* s);
// ({ s1; ... e; }): the statements go out where the expression stands, the
// value stays in a temporary, which is the tree returned.
NODE* translate_stmt_expr(UNIT& u, const clang::StmtExpr* e);
// a && b, a || b, c ? x : y, a ?: b and a, b, with a statement expression in
// an operand that does not always run, or runs after another: as branches
// ahead of the statement, the value in a temporary.
NODE* translate_sequenced(UNIT& u, const clang::Expr* e);

// ---- Statements and functions (c2i_stmt.cpp, c2i_func.cpp).
void emit(UNIT& u, NODE* tree, clang::SourceLocation loc);
void emit_label(UNIT& u, uint32_t label);
uint32_t new_label(UNIT& u);
void translate_stmt(UNIT& u, const clang::Stmt* s);
// A compound statement, with block records when it declares objects.
void translate_compound(UNIT& u, const clang::CompoundStmt* cs, bool as_block);
NODE* branch_to(uint32_t label);
NODE* cbranch(NODE* cond, uint32_t label);
void translate_function(UNIT& u, const clang::FunctionDecl* fd);

// ---- Initialisers (c2i_init.cpp, c2i_local_init.cpp).
// The trees of a static object's initialiser, in address order, ending in
// ENDINIT; none when the object is all zero. `object_bits` is the size of
// the object, which a flexible member may make larger than its type.
std::vector<NODE*> global_init_trees(UNIT& u, clang::QualType type, const clang::Expr* init,
                                     clang::SourceLocation loc, uint32_t object_bits);

// ---- Flexible array members (c2i_flex.cpp).
// The type an array member really has once `init` fills it: `declared`
// itself unless that is `T[]` and the initialiser gives a count.
clang::QualType flex_filled_type(UNIT& u, clang::QualType declared, const clang::Expr* init);
// The bits an object of structure `type` needs for `init` when that fills
// its flexible member past the structure's size; 0 otherwise.
uint64_t flex_object_bits(UNIT& u, clang::QualType type, const clang::Expr* init, clang::SourceLocation loc);
// The type of such an object: a structure of `bits` (rounded to the
// alignment) whose member `head` has the declared type.
TYPE* flex_object_type(UNIT& u, clang::QualType type, uint64_t bits, const std::string& name,
                       clang::SourceLocation loc);
// `object` (a NAME) as the declared structure: its head when it is such an
// object, else itself.
NODE* flex_head(UNIT& u, NODE* object, TYPE* declared);
// Statements that give the object `target` (a NAME) its initial value.
void init_lvalue(UNIT& u, NODE* target, clang::QualType type, const clang::Expr* init,
                 clang::SourceLocation loc);

// ---- The unit (c2i_unit.cpp).
// Settles every size-dependent array bound and bit-field width of the
// program; false when Clang must parse again with `remaps` applied.
bool settle_constants(UNIT& u, std::map<std::string, std::string>& remaps);
void translate_unit(UNIT& u);

}  // namespace c2i
