// String list handles: what a query that answers with a list of texts gives to its caller. A handle is a
// vector of strings behind an opaque pointer; it lives on this side alone, until RemoveStringList.
#ifndef STRING_LIST_H
#define STRING_LIST_H

#include "payloads.h"

// Of the texts from index `first` on.
void* NewStringList(const StringData& texts, std::size_t first = 0);

#endif
