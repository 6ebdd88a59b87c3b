// Inside the type package: how a type hangs in the tree of derived maps, and
// the walks over that tree. Not for use outside ir/type*.cpp.
#pragma once
#include <functional>
#include <string>

#include "ir/types.h"

// The type `t` is built on (pointer target, element, result, underlying...),
// or the root type for the types built on nothing.
TYPE* type_root(const TYPE* t);
// Rebuilds `t` on `root` instead; only for a root equal to the old one.
void set_type_root(TYPE* t, TYPE* root);
// The key of `t` in the derived map of its root. An open type has a key of
// its own; a frozen type with lists has a key its equals share.
std::string type_key(const TYPE* t);

// Keys of the types without lists, used both to look a type up before making
// it and to file it once made.
std::string key_int(int ikind, bool explicit_sign, uint32_t size, uint32_t align, bool is_bool2);
std::string key_float(int fkind, uint32_t size, uint32_t align);
std::string key_fixed(int scale, bool explicit_sign, uint32_t size, uint32_t align);
std::string key_sized(char tag, uint32_t size, uint32_t align);  // complex, pointer, reference
std::string key_qual(uint8_t bits, uint32_t size, uint32_t align);
std::string key_typedef(const std::string& name, uint32_t size, uint32_t align, bool is_cpp, bool lowered);
std::string key_array(uint32_t count, uint32_t size, uint32_t align, bool is_cpp, bool complete, bool vector);
std::string key_ptm(const TYPE* csu, uint32_t size, uint32_t align);

// Every type under `root` (not `root` itself), parents before children.
void for_each_type(TYPE* root, const std::function<void(TYPE*)>& fn);
// Every type `t` refers to: its root and the types in its record and lists.
void for_each_component(const TYPE* t, const std::function<void(TYPE*)>& fn);

// Equal in every attribute and list, base links followed; types with lists
// must both be frozen.
bool same_type(const TYPE* a, const TYPE* b);

// A named class, structure, union, enum or typedef.
bool is_named_type(const TYPE* t);
