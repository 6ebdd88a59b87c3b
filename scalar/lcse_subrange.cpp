// lcse_subrange_assignments: within a block, after s.m = 5 (or *(&a + 2) = x,
// or g = y) a read of exactly that piece is the stored value, until
// something may change the piece: a store that may overlap it, a call or a
// store through a pointer that may reach its object, assembly text. Only
// values that cost nothing to repeat are recorded: constants, and local
// variables that no pointer reaches, whose own stores then drop the record.
#include <cstdio>
#include <unordered_map>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "scalar/subrange.h"
#include "ssa/alias.h"

namespace {

// The value each recorded piece holds; reset for each function.
std::unordered_map<const SUBRANGE*, NODE*> stored_value;

bool is_rmw(int op) {
  return op == PLUSPLUS || op == MINMIN || (op > 0 && op < 256 && op_of_opASG[op] != 255 && op_of_opASG[op] != 0);
}
bool is_store(int op) { return op == ASG || op == STASG || op == ARASG || is_rmw(op); }
bool is_call(int op) {
  return op == CALL || op == UCALL || op == MCALL || op == UMCALL || op == ICALL || op == UICALL || op == MEMCPY;
}
bool is_lvalue_op(int op) { return op == NAME || op == STDOT || op == STREF || op == UMULT; }

struct BLOCK_STATE {
  SUBRANGE* valid = nullptr;

  void drop(SUBRANGE* keep_list) { valid = keep_list; }
  void forget(SUBRANGE* r) {
    stored_value.erase(r);
    erase_subrange(r);
  }
  // Drops the records for which `gone` holds.
  template <class F>
  void drop_if(F gone) {
    SUBRANGE** link = &valid;
    while (*link) {
      SUBRANGE* r = *link;
      if (gone(r)) {
        *link = r->link;
        forget(r);
      } else {
        link = &r->link;
      }
    }
  }
  void clear() {
    drop_if([](const SUBRANGE*) { return true; });
  }
  const SUBRANGE* find(const SUBRANGE* piece) const {
    for (const SUBRANGE* r = valid; r; r = r->link)
      if (r->sym == piece->sym && r->offset == piece->offset && r->size == piece->size &&
          simp::same_type(r->type, piece->type))
        return r;
    return nullptr;
  }
};

// A store to `lv`: the records it may overwrite go, and so do the records
// whose value is a variable that the store may change.
void store_to(NODE* lv, BLOCK_STATE& st) {
  SUBRANGE* piece = compute_subrange(lv);
  SYMTAB* object = object_name_if_known(lv, true, false);
  st.drop_if([&](const SUBRANGE* r) {
    if (piece) {
      if (subranges_overlap(piece, r)) return true;
    } else if (!object ? symbol_is_reachable(r->sym) : object == r->sym) {
      return true;
    }
    const NODE* v = stored_value[r];
    return v && v->op == NAME && v->name_symbol() == (piece ? piece->sym : object);
  });
  erase_subrange(piece);
}

// What a statement does to the records, in the order it does it.
void effects_of(NODE* t, BLOCK_STATE& st) {
  if (!t) return;
  if (t->op == ASM) {
    if (t->value.as_int64() != 47) st.clear();
    return;
  }
  if (is_store(t->op)) {
    effects_of(t->right, st);
    if (t->left && (t->left->op == UMULT || t->left->op == STREF)) effects_of(t->left->left, st);
    store_to(t->left, st);
    return;
  }
  effects_of(t->left, st);
  effects_of(t->right, st);
  if (is_call(t->op)) {
    // A callee reaches what escapes, and a pointer passed to it.
    st.drop_if([](const SUBRANGE* r) { return symbol_is_reachable(r->sym); });
  }
}

// Replaces reads of recorded pieces below *slot; `read` says whether the
// tree there is read as a value.
bool replace_reads(NODE** slot, bool read, const BLOCK_STATE& st) {
  NODE* t = *slot;
  if (!t) return false;
  if (read && is_lvalue_op(t->op) && !simp::is_lvalue_volatile(t)) {
    if (SUBRANGE* piece = compute_subrange(t)) {
      const SUBRANGE* r = st.find(piece);
      erase_subrange(piece);
      if (r) {
        auto it = stored_value.find(r);
        erase_tree(t);
        *slot = copy_tree(it->second, false);
        return true;
      }
    }
  }
  bool left_read = true;
  switch (t->op) {
    case UAND: case ARGREF: case ASG: case STASG: case ARASG: case PLUSPLUS: case MINMIN:
      left_read = false;
      break;
    case STDOT:
      // The base of a member is an object, not a value.
      left_read = false;
      break;
    default:
      if (is_rmw(t->op)) left_read = false;
      break;
  }
  bool changed = replace_reads(&t->left, left_read, st);
  changed |= replace_reads(&t->right, true, st);
  return changed;
}

// The value of a store that may be recorded for its piece.
bool recordable(NODE* value, NODE* lv) {
  if (!value || !simp::same_type(value->type, lv->type)) return false;
  if (value->op == ICON || (value->op == FCON && value->sym)) return true;
  if (value->op != NAME) return false;
  const SYMTAB* s = value->name_symbol();
  return s && s->lex_level == 2 && !symbol_is_reachable(s) && !symbol_is_immutable(s) && !sym_appears_in_EHT(s);
}

void scan_block(BBLK* bb) {
  BLOCK_STATE st;
  for (LIST* l = bb->statements; l; l = l->next) {
    NODE* t = l->tree;
    if (!t) continue;
    // Reads are replaced only where no effect of the statement comes
    // before them; the tests of transfers stay for the flow graph.
    bool quiet = !tree_has_side_effects(t->left) && !tree_has_side_effects(t->right);
    bool transfer = t->op == IF || t->op == SWITCH || t->op == CBRANCH || t->op == BRANCH;
    if (quiet && !transfer && t->op != ASM && t->op != LABELDEF && t->op != PPRAGMA && st.valid &&
        replace_reads(&l->tree, !is_store(t->op), st)) {
      if (print_debug && fdebug) fprintf(fdebug, "\tKnown piece read in %s\n", stmt2infix(l->tree));
      l->tree = simp_tree(l->tree);
      t = l->tree;
      if (!t) continue;
    }
    effects_of(t, st);
    if (t->op == ASG && t->left && !simp::is_lvalue_volatile(t->left) && t->left->type &&
        t->left->type->is_scalar() && recordable(t->right, t->left)) {
      SYMTAB* object = object_name_if_known(t->left, true, false);
      SUBRANGE* piece = object ? compute_subrange(t->left) : nullptr;
      if (piece && (symbol_is_immutable(piece->sym) || sym_appears_in_EHT(piece->sym))) {
        erase_subrange(piece);
        piece = nullptr;
      }
      if (piece) {
        piece->link = st.valid;
        st.valid = piece;
        stored_value[piece] = t->right;
      }
    }
  }
  st.clear();
}

}  // namespace

void lcse_subrange_assignments() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'lcse_subrange_assignments' ---\n\n");
  stored_value.clear();
  if (!currfuninfo || !cfg.bb_list) return;
  mark_address_exposed_symbols_in_function();
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) scan_block(bb);
  stored_value.clear();
}
