// zopt's writing side: a function's records and trees as they leave the
// optimizer, with the rewrites the file form needs.
#pragma once

struct LIST;
struct NODE;
struct SYMTAB;
struct PSN;

void write_func_header();
void write_func_body();
void wrbblocks();
void wrexpr(LIST* element);
void wrtree(NODE* tree);
void revert_symbol_type(SYMTAB* sym);
// Rewrites a tree for the file: wide constants, referenced globals, label
// numbers, the in-memory forms that have a file form of their own.
NODE* rewrite_for_output(NODE* tree);
// A comment (47) or assembly text (36) outside any function, straight to the
// output file.
void wrasmr(int kind, const char* text, PSN* psn);
