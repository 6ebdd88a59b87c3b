// Implication between predicates: what the outcome of one test proves about
// another test evaluated in the same state.
#pragma once

struct NODE;

// True when knowing that `a` has the truth value `a_sense` (1 true, 0 false)
// proves that `b` has the truth value `b_sense`, both read in one state.
// Never true when either tree has side effects or reads volatile storage.
// A sense of `a` that no state can give proves anything.
bool pred_implies_pred(NODE* a, int a_sense, NODE* b, int b_sense);
