// Assertions state what the library demands of a peer's reply or of its caller. They stay live in every
// build, whatever NDEBUG says: the expression goes to standard error and the process aborts.
#ifndef VEXA_ASSERT_H
#define VEXA_ASSERT_H

// Prints "file:line: assertion failed: expression", flushes and aborts.
[[noreturn]] void VexaAssertFailed(const char* file, int line, const char* expression);

// The text that is printed is part of the interface. Where the interface spells an expression otherwise than
// our formatter would, VEXA_ASSERT_AS takes the text of its own.
#define VEXA_ASSERT_AS(condition, text) \
  (static_cast<bool>(condition) ? static_cast<void>(0) : VexaAssertFailed(__FILE__, __LINE__, text))
#define VEXA_ASSERT(expression) VEXA_ASSERT_AS(expression, #expression)

#endif
