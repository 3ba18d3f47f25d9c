// The home that was installed together with the library.
#ifndef INSTALLED_HOME_H
#define INSTALLED_HOME_H

#include <string>

// Its path, found from the file that the library was loaded from, so that both can be moved together. Empty
// where there is none, as in a build that has not been installed.
const std::string& InstalledHome();

#endif
