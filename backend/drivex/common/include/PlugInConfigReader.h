// PlugInConfigReader: a reader of ini files in the manner of GetPrivateProfileString. It holds nothing: each
// question opens the file, reads it from the top and closes it, so any thread may ask.
//
//   [R]              a section; its name ends at the first "]" or with the line
//   ; text           a comment, if it is the whole line; "#" marks none
//   HOME=/opt/r      an entry; blanks around the "=" stay with the key and with the value
//   FLAG             an entry with an empty value
//
// White space is removed from both ends of a line first, so indentation and CR LF do no harm. There is no
// escape and no continuation. A line is read in pieces of 2,047 characters, and each piece counts as a line.
//
// Sections, and keys in RetrieveValue, are searched by prefix, ignoring case, and the first match wins: a
// section RSERVE that stands ahead of R is taken for R. Kept: what an installed file says depends on it.
#ifndef PLUGINCONFIGREADER_H
#define PLUGINCONFIGREADER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "vexa_api.h"

class VEXA_API PlugInConfigReader {
 public:
  virtual ~PlugInConfigReader();

  // Clears the buffer and fills it with the value of a key; without a key with the names of the section's
  // keys; without a section with the names of all sections. A null and an empty name are the same. The result
  // is the number of bytes delivered: 0 if the file cannot be opened. `defaultValue` is ignored: who wants a
  // default looks at the 0.
  static std::int64_t GetPrivateProfileString(const char* section, const char* key, const char* defaultValue,
                                              char* buffer, std::size_t size, const char* path);

  // The listings: the names one behind the other, each ended by a NUL, and as result the bytes used with the
  // NULs. A listing ends, without error, before a name that would not leave one more byte free behind its
  // NUL.
  static std::int64_t RetrieveSectionNames(std::FILE* file, char* buffer, std::size_t size);
  static std::int64_t RetrieveKeyNames(std::FILE* file, const char* section, char* buffer, std::size_t size);
  // The value of the first line that begins with the key, cut to size - 1 characters; the result is its
  // length. The search ends at that line even if it has no value.
  static std::int64_t RetrieveValue(std::FILE* file, const char* section, const char* key, char* buffer,
                                    std::size_t size);
  // 1, with the file standing behind the section's head, or 0 at the end of the file.
  static int GotoSectionStart(std::FILE* file, const char* section);
  // Removes white space from both ends, in place.
  static void TrimAll(char* text);

 protected:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  using File = std::unique_ptr<std::FILE, CloseFile>;
  static constexpr std::size_t kLineSize = 2048;
  using Line = char[kLineSize];

  // Null if the file cannot be opened. Never inherited by a child process.
  static File OpenFile(const char* path);
  // The next line, trimmed. What stands behind a NUL inside a line is lost.
  static bool NextLine(std::FILE* file, Line& line);
  // The same, ending at the next section's head and passing over comments.
  static bool NextLineOfSection(std::FILE* file, Line& line);
};

#endif
