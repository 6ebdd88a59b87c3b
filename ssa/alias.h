// Symbol-level alias facts that every data-flow pass asks first: which
// variables may be touched other than by their name.
#pragma once

struct NODE;
struct SYMTAB;
struct LIST;

// Walks one tree and sets ALIAS_EXPOSED on each symbol whose address
// escapes. `in_deref` is true inside the address operand of a dereference:
// `*(&x + 4)` reads x through its own name, `p = &x` lets x escape.
void mark_address_exposed_symbols(NODE* tree, bool in_deref);
// Clears the marks of the current function's locals and parameters, sets
// globals as exposed, and walks every statement (the flow graph's blocks, or
// the statement list before one exists).
void mark_address_exposed_symbols_in_function();
// Marks the symbols of vector or complex type, which the scalar passes leave
// alone; `locals` and `params` choose which lists are looked at.
void mark_aliased_vector_and_complex_symbols(bool locals, bool params);

bool symbol_is_aliased(const SYMTAB* sym);
// A volatile variable: every access must stay as written.
bool symbol_is_immutable(const SYMTAB* sym);
// Named by an expression of the current function's exception table.
bool sym_appears_in_EHT(const SYMTAB* sym);
// The symbol of a NAME below any STDOT, or null.
SYMTAB* name_below_stdots(NODE* tree);

// The object an lvalue lies in, when the tree says so: a NAME, a member of
// one (STDOT), and, with `through_address`, an access through the address of
// one (`*(&x + k)`, `(&s)->m`, `a[i]`). `through_pointsto` asks for points-to
// facts as well; none are kept yet, so it adds nothing. Null when unknown.
SYMTAB* object_name_if_known(NODE* lvalue, bool through_address, bool through_pointsto);
