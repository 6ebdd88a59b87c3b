// Two IF in a row that share a target become one IF on an OROR.
#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "scalar/simpcfg_rules.h"

bool merge_IFs_into_OROR(BBLK* bb) {
  if (!simpcfg_first || function_profile_mode() == PROFILE_COUNTS) return false;
  NODE* bi = last_stmt(bb);
  if (!bi || bi->op != IF || if_has_ENDLOOP(bi)) return false;
  // The false side first, then the true side.
  for (bool sense : {false, true}) {
    BBLK* t = if_target(bi, sense);
    BBLK* other = if_target(bi, !sense);
    if (!t || !other || t == bb || t == cfg.bb_list || t->pinned || t->loop != bb->loop) continue;
    if (edge_length(t->predecessors) != 1 || !is_lone_IF(t)) continue;
    NODE* ti = first_stmt(t);
    if (if_has_ENDLOOP(ti) || tree_has_side_effects(ti->left) || tree_has_op(ti->left, DDNODE)) continue;
    BBLK* tt = if_target(ti, true);
    BBLK* tf = if_target(ti, false);
    if (tt != other && tf != other) continue;
    // B goes to the shared target when its test holds, to T otherwise.
    if (sense) invert_IF_of(bb);
    NODE* c2 = copy_tree(ti->left, false);
    BBLK* rest = tf;
    if (tt != other) {
      c2 = simp_node(mk_EXCLAIM(c2), bb->loop, nullptr);
      rest = tt;
    }
    bi->left = simp_node(maketree(OROR, bi->left, c2, tp->basic[TYPE_PKG::BT_INT], bi->scope), bb->loop, nullptr);
    point_label_at(if_label(bi, false), rest);
    recompute_successors(bb);
    return true;
  }
  return false;
}
