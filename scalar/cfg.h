// The flow graph of the current function: basic blocks (BBLK), the edges
// between them (EDGE) and the labels that name them (LBL).
#pragma once
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

struct LIST;
struct NODE;
struct PSN;
struct LS;
struct LOOP;
struct BITVEC;
struct BBLK;

struct EDGE {
  BBLK* bb = nullptr;
  double dFreq = -1.0;
  EDGE* next = nullptr;
};

struct LBL {
  LBL* next = nullptr;  // next label of the same block
  BBLK* bb = nullptr;
  int number = 0;
  uint16_t refcount = 0;
};

struct BBLK {
  void* lir = nullptr;
  BBLK* dflink = nullptr;
  BBLK* rdflink = nullptr;
  BBLK* allnext = nullptr;
  void* spare = nullptr;
  LIST* statements = nullptr;
  EDGE* predecessors = nullptr;
  EDGE* successors = nullptr;
  EDGE* edge_cursor = nullptr;
  LBL* labels = nullptr;
  struct LOOP* loop = nullptr;  // "struct": LOOP is also an operator name
  int pinned = 0;
  BITVEC* live_bits[6] = {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
  double dFreqIn = -1.0;
  double dFreqOut = -1.0;
  PSN* first_psn = nullptr;
  PSN* last_psn = nullptr;
  int uon = 0;
  int dfn = 0;
  unsigned cond_path : 1;
  uint8_t visited = 0;
  int serial = 0;  // creation index within the function, for printing
  struct SBLK* trace = nullptr;  // the superblock the block belongs to, between the superblock passes

  BBLK() : cond_path(0) {}
  virtual ~BBLK() = default;
  // Printable name used by the validation messages.
  std::string str() const;
};

// Graph state of the current function.
struct CFG_STATE {
  BBLK* bb_list = nullptr;   // the entry block
  int bb_count = 0;
  BBLK* all_blocks = nullptr;  // head of the allnext chain
  BBLK* exit_block = nullptr;
  NODE* arg_prolog = nullptr;
  bool changed = false;
  int next_serial = 0;
  int label_counter = -1;    // per-block labels made by insert_new_bb count down
};
extern CFG_STATE cfg;

// Raised by every edge or block edit; dominator queries rebuild on it.
extern bool dominators_stale;

BBLK* mkbblock(LIST* statements, BBLK* next);
BBLK* insert_new_bb(int dfn, BBLK* after, LIST* statements);
void delink_old_bb(BBLK* bb);
void erase_bblock(BBLK* bb);
void erase_all_bblocks();

EDGE* mkedge(BBLK* bb, double freq);
EDGE* add_edge(BBLK* bb, EDGE* list, double freq);
EDGE* remove_edge(BBLK* bb, EDGE* list);
void erase_edge(EDGE* e);
void erase_edge_list(EDGE* list);
EDGE* copy_edge_list(EDGE* list);
EDGE* rev_edge_list(EDGE* list);
int edge_length(const EDGE* list);
bool edge_memberp(const BBLK* bb, const EDGE* list);
EDGE* sort_edge_list(EDGE* list);

LBL* mklabel(int number, LBL* next, BBLK* bb);
LBL* find_label(int number);
NODE* mk_LABELREF_to_bb(BBLK* bb, LS* scope);
NODE* mk_BRANCH(BBLK* bb, LS* scope);
NODE* mk_IF(NODE* cond, BBLK* if_true, BBLK* if_false, LS* scope);
void fixup_edge_lists(BBLK* bb, NODE* tree);

// The transfer that ends a block, or null.
NODE* last_stmt(const BBLK* bb);
LIST* last_cell(const BBLK* bb);
bool is_transfer(int op);

// Labels and the transfers that name them. Every LABEL below a transfer
// points at the head label of its block.
int fresh_label_number();
LBL* ensure_label(BBLK* bb);
BBLK* label_target(const NODE* label);
void point_label_at(NODE* label, BBLK* bb);
// Appends the targets of a transfer to `list`, without duplicates.
EDGE* list_branch_targets(NODE* tree, EDGE* list);
// Points the LABELs of a transfer that go to `from` at `to`; the count.
int remap_labelrefs(NODE* tree, BBLK* from, BBLK* to);
// The same over the transfers of a statement list.
int subst_bb_for_bb_in_stmts(BBLK* to, BBLK* from, LIST* stmts);
// Makes the successor list (and the predecessor lists of the blocks on
// either side) agree with the targets of the block's last statement.
void recompute_successors(BBLK* bb);
// The successor edges in the order of the LABELs of the ending transfer
// (each block once, where it is first named); the list is left as it is.
std::vector<EDGE*> successors_by_labels(const BBLK* bb);
// The successor list in the order of the LABELs of the ending transfer, so
// that the depth-first layout follows the transfer as it now stands.
void order_successors_by_labels(BBLK* bb);
// LABEL nodes take the current number of their label.
void sync_label_values();
EDGE* fast_sort_edge_list(EDGE* list);
void unlink_from_allnext(BBLK* bb);

// Statement lists of blocks.
LIST* copy_statements(LIST* list, bool keep_positions);
void append_statements(BBLK* bb, LIST* list);
// Inserts `stmt` before the statement `before` of the block, or before its
// ending transfer when `before` is null.
void insert_stmt_before_stmt_in_bb(NODE* stmt, NODE* before, BBLK* bb, PSN* psn);
BBLK* split_block(BBLK* bb, LIST* at);
BBLK* split_cfg_edge(BBLK* from, BBLK* to);

void seq_trees();
void buildcfg();
void rebuildcfg();
void renumber_bblocks();
// Blocks ending in a test that may be turned round (its two ways swapped)
// without changing the layout the depth-first walk of rebuildcfg, or of
// buildcfg on the written function, makes of the graph.
std::unordered_set<const BBLK*> tests_free_to_turn();
// Checks the graph and repairs what is safe to repair (missing edges of a
// transfer's targets, unreachable blocks); the report goes to the debug log,
// or to standard error without one.
void validate_cfg();
// The same, the report kept in `report` instead of printed.
void validate_cfg(struct CHECK_REPORT& report);
// A block that loops on itself and does nothing but step a counter and
// store constants runs once, with the final values; true when it did.
bool remove_empty_loop(BBLK* bb);
// Whether remove_empty_loop would take the loop of `bb` away; changes nothing.
bool empty_loop_is_removable(BBLK* bb);
// Counts of the last validate_cfg.
extern int cfg_errors_corrected;
extern int cfg_errors_uncorrected;
// validate_cfg after a pass, when the debug keyword "validate_cfg" is set or
// cfg_validate_always is.
void check_cfg_after(const char* pass);
extern bool cfg_validate_always;
void forget_all_labels();
