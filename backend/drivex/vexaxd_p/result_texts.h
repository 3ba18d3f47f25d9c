// Texts that go to the caller: one shared buffer, valid until the next call that uses it, and copies that the
// caller owns.
#ifndef RESULT_TEXTS_H
#define RESULT_TEXTS_H

#include <string>

// The text up to its first zero byte.
std::string UpToZero(const std::string& text);
// Copies the text up to its first zero byte into stringResult, in place of the previous one, and returns it.
const char* KeepText(const std::string& text);
// A terminated copy from new[], for the caller to own.
char* NewText(const std::string& text);
// The same for a wide text; null counts as empty. The buffer is wstringResult.
const wchar_t* KeepWideText(const wchar_t* text);
// Deletes `count` texts that are not null, and their array.
void FreeTexts(char** texts, int count);
// Deletes the shared buffers.
void ReleaseResultTexts();

#endif
