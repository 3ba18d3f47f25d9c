// The cases of the cursor by whole blocks, for those who read all of a block and step over none of it.
#ifndef CASE_BLOCKS_H
#define CASE_BLOCKS_H

#include <cstddef>

struct CaseBlock {
  const char* cases = nullptr;  // the cursor's, until the next block or the next step
  std::size_t count = 0;
};

// Passes over what is left of the block in hand and fetches the next. 0 with a block of at least one case,
// all of which are there; 23 or 67 at the end; 99104 for a block
// without any, or that is shorter than its sender says.
int NextCaseBlock(CaseBlock& block);

#endif
