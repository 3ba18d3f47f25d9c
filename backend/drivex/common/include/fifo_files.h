// The files of a session's fifos, found by their names: <id><language><ending>, where the id is the driver's
// process id in lower-case hexadecimal and a language never begins with such a digit. An endpoint removes its
// own file; these are for all that nobody owns any more, since a process died.
//
// Only fifos of this process's user go, in the directory itself: no other kind of file, and no symlink.
#ifndef FIFO_FILES_H
#define FIFO_FILES_H

#include <string>
#include <vector>

#include "vexa_api.h"

// All fifos of the session of that id, of whatever language and on whatever level. For whoever ends the
// session: the others may still want them. An empty id removes nothing.
VEXA_API void RemoveFifosOf(const std::string& directory, const std::string& id);

// The names of all fifos of sessions whose driver has no process any more. Others that the pattern does not
// fit in every part are none.
VEXA_API std::vector<std::string> StaleFifos(const std::string& directory);
// Removes these.
VEXA_API void RemoveStaleFifos(const std::string& directory);

#endif
