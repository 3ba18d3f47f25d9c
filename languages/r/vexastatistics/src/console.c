// The process that started R sends a line, and waits for the prompt behind it: the end of what comes on the
// pipe of R's standard output. So that pipe gets prompts and nothing else, always the three that the other
// side knows, whatever options(prompt) says; what R prints is posted as the backend's output instead. R's own
// console could not keep this up: a text that ends like a prompt would count as one, and a line longer than
// its buffer is prompted for in the middle.
#define R_INTERFACE_PTRS
#include <R.h>
#include <Rinterface.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include "shim.h"
#include "vexaxd_p.h"

static const char* const kEndOfBlock = "postvexa()\n";

static int lines = -1;    // the pipe that was standard input
static int prompts = -1;  // the pipe that was standard output
static pid_t owner;       // a fork of this process prints, and posts nothing
static bool in_block = false;
static bool ending = false;  // a block's end was read where R could not evaluate it
static volatile sig_atomic_t at_prompt = 0;

static char printed[1 << 16];
static size_t printed_length = 0;

enum Prompt { kPlain, kContinuation, kBrowser, kQuestion };

void PostPrinted(void) {
  const size_t length = printed_length;
  printed_length = 0;
  if (length > 0) PostVexaOutput(printed, (int)length);
}

bool AtPrompt(void) { return at_prompt != 0; }

// A text is never torn apart: a character may be several bytes.
static void Print(const char* text, int text_length, int is_error) {
  (void)is_error;
  const size_t length = (size_t)text_length;
  if (getpid() != owner) {
    if (write(STDERR_FILENO, text, length) == -1) return;
  } else if (in_block) {
    if (length > sizeof printed - printed_length) PostPrinted();
    if (length > sizeof printed) {
      PostVexaOutput(text, text_length);
    } else {
      memcpy(printed + printed_length, text, length);
      printed_length += length;
    }
  }
}

static bool IsOption(const char* name, const char* prompt) {
  const SEXP value = Rf_GetOption1(Rf_install(name));
  return Rf_isString(value) && Rf_length(value) > 0 && strcmp(CHAR(STRING_ELT(value, 0)), prompt) == 0;
}

static enum Prompt KindOf(const char* prompt) {
  if (strncmp(prompt, "Browse[", 7) == 0) return kBrowser;
  if (IsOption("prompt", prompt)) return kPlain;
  return IsOption("continue", prompt) ? kContinuation : kQuestion;
}

static void Send(const char* text) {
  for (size_t length = strlen(text); length > 0;) {
    const ssize_t written = write(prompts, text, length);
    if (written == -1 && errno != EINTR) return;  // nobody reads: the lines will end, too
    if (written == -1) continue;
    text += written;
    length -= (size_t)written;
  }
}

// The next piece of a line, up to its end or to what there is room for. False at the end of all lines. R
// takes a piece of nothing but blanks for the end of its input, so those that begin a line are left out,
// unless they may be in a text.
static bool TakeLine(unsigned char* buffer, size_t room, bool skip_blanks) {
  static char got[1 << 16];
  static size_t start = 0, end = 0;
  size_t length = 0;
  while (length < room - 1) {
    if (start == end) {
      at_prompt = 1;
      const ssize_t count = read(lines, got, sizeof got);
      at_prompt = 0;
      if (count == -1 && errno == EINTR) continue;
      if (count <= 0) return false;
      start = 0;
      end = (size_t)count;
    }
    buffer[length] = (unsigned char)got[start++];
    if (length == 0 && skip_blanks && (buffer[0] == ' ' || buffer[0] == '\t')) continue;
    ++length;
    if (buffer[length - 1] == '\n') break;
  }
  buffer[length] = '\0';
  return true;
}

// R's read of a line. The end of a block can be read at a browser prompt or within an open expression; the
// one is left and the other dropped, and only the plain prompt gets the end.
static int ReadLine(const char* prompt, unsigned char* buffer, int room, int history) {
  static bool within_line = false;
  (void)history;
  const enum Prompt kind = KindOf(prompt);
  // readline() and the like. No answer at all would have some of them ask again for ever.
  if (kind == kQuestion) Rf_error("nobody is there to answer \"%s\"", prompt);
  if (!ending) {
    if (!within_line) {
      PostPrinted();
      Send(kind == kPlain ? "> " : kind == kContinuation ? "+ " : prompt);
    }
    if (!TakeLine(buffer, (size_t)room, !within_line && kind != kContinuation)) return 0;
    const bool begins = !within_line;
    within_line = strchr((char*)buffer, '\n') == NULL;
    ending = begins && kind != kPlain && strcmp((char*)buffer, kEndOfBlock) == 0;
    if (!ending) return 1;
  }
  if (kind == kContinuation) Rf_error("the block ends within an expression");
  ending = kind == kBrowser;
  strcpy((char*)buffer, ending ? "Q\n" : kEndOfBlock);
  return 1;
}

static int Moved(int descriptor, int replacement) {
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
  dup2(replacement, descriptor);
  return moved;
}

// A program that a block starts must neither read lines nor write what could pass for a prompt.
void TakeConsole(void) {
  if (lines != -1) return;
  fflush(stdout);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  lines = Moved(STDIN_FILENO, nothing);
  prompts = Moved(STDOUT_FILENO, STDERR_FILENO);
  close(nothing);
  owner = getpid();
  R_Interactive = TRUE;  // else the first error would end R
  R_Outputfile = NULL;
  R_Consolefile = NULL;
  ptr_R_WriteConsole = NULL;
  ptr_R_WriteConsoleEx = Print;
  ptr_R_ReadConsole = ReadLine;
}

SEXP C_begin_block(void) {
  in_block = true;
  return R_NilValue;
}

SEXP C_end_block(void) {
  PostPrinted();
  in_block = false;
  return R_NilValue;
}
