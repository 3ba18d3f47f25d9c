// What the tests use of their framework, of the system and of the C++ library.
#ifndef SUPPORT_TEST_H
#define SUPPORT_TEST_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

// Those of the codes that are not 0, in the order of the calls, each behind its place; empty when all went
// well.
inline std::string Failed(std::initializer_list<int> codes) {
  std::string failed;
  for (int place = 1; const int code : codes) {
    if (code != 0) failed += std::to_string(place) + ": " + std::to_string(code) + " ";
    ++place;
  }
  return failed;
}

#endif
