// The function that VexaSetProgress set.
#ifndef COLUMN_PROGRESS_H
#define COLUMN_PROGRESS_H

// Tells it how many of the rows are done, on this thread; -1 for a total that is not known.
void TellProgress(long done, long total);

#endif
