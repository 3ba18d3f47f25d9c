// The home that is meant: the option's, else the one in VEXA_HOME, else the one that this program lies in,
// else the one that was installed with the library.
#ifndef HOME_H
#define HOME_H

#include <string>

struct Home {
  std::string path;  // absolute; empty where there is none
  std::string told;  // by what: "--home", "VEXA_HOME", "the program", "the library"
};
Home FindHome(const std::string& option);

#endif
