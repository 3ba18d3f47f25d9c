// The Lua module vexaxd: every function of the interface that Lua can express, made from its table, and a
// session around them. A code other than 0 is raised as a table with `fun`, `code` and `text`, which tostring
// turns into the text; several results are several values; nothing is freed by hand.
#include <lauxlib.h>
#include <lua.h>
#include <signal.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vexaxd_p.h"

static const char kError[] = "vexaxd.error";

static int Raise(lua_State* L, const char* function, int code, const char* text) {
  lua_createtable(L, 0, 3);
  lua_pushstring(L, function);
  lua_setfield(L, -2, "fun");
  lua_pushinteger(L, code);
  lua_setfield(L, -2, "code");
  lua_pushstring(L, text);
  lua_setfield(L, -2, "text");
  luaL_setmetatable(L, kError);
  return lua_error(L);
}

static int Fail(lua_State* L, const char* function, int code) {
  return Raise(L, function, code, VexaLastError());
}

// A call that asks, without a session, would wait for one for ever. The library looks, and asks nobody.
static void Begin(lua_State* L, const char* function, bool asks) {
  luaL_checkstack(L, 40, function);
  if (!asks || FreeStringArray(NULL, 0) != 17) return;
  lua_pushfstring(L, "%s: no backend is running (17)", function);
  Raise(L, function, 17, lua_tostring(L, -1));
}

// --- What goes in ---

static lua_Integer Integer(lua_State* L, int index, int bits) {
  const lua_Integer value = luaL_checkinteger(L, index);
  if (bits == 32 && (value < -2147483648LL || value > 2147483647LL))
    luaL_argerror(L, index, "it does not fit into 32 bits");
  return value;
}

static bool Flag(lua_State* L, int index) {
  luaL_checktype(L, index, LUA_TBOOLEAN);
  return lua_toboolean(L, index);
}

static const char* Text(lua_State* L, int index, bool may_be_nil) {
  size_t length = 0;
  if (may_be_nil && lua_isnoneornil(L, index)) return NULL;
  const char* const text = luaL_checklstring(L, index, &length);
  if (strlen(text) != length) luaL_argerror(L, index, "a zero byte in a text, which would end there");
  return text;
}

static const char* Bytes(lua_State* L, int index, int* length) {
  size_t size = 0;
  const char* const bytes = luaL_checklstring(L, index, &size);
  if (size > 2147483647) luaL_argerror(L, index, "more than 2 GiB");
  *length = (int)size;
  return bytes;
}

// The memory of lists is the collector's; it stays on the stack until the call is over.
static char** Texts(lua_State* L, int index, int* count) {
  luaL_checktype(L, index, LUA_TTABLE);
  *count = (int)lua_rawlen(L, index);
  char** const texts = lua_newuserdatauv(L, ((size_t)*count + 1) * sizeof *texts, 1);
  for (int i = 0; i < *count; ++i) {
    lua_rawgeti(L, index, i + 1);
    if (lua_type(L, -1) != LUA_TSTRING) luaL_argerror(L, index, "a list of texts is wanted");
    texts[i] = (char*)Text(L, lua_gettop(L), false);
    lua_pop(L, 1);  // the table keeps it
  }
  return texts;
}

static int* Ints(lua_State* L, int index, int* count) {
  luaL_checktype(L, index, LUA_TTABLE);
  *count = (int)lua_rawlen(L, index);
  int* const numbers = lua_newuserdatauv(L, ((size_t)*count + 1) * sizeof *numbers, 0);
  for (int i = 0; i < *count; ++i) {
    lua_rawgeti(L, index, i + 1);
    numbers[i] = (int)Integer(L, lua_gettop(L), 32);
    lua_pop(L, 1);
  }
  return numbers;
}

// The library's from the call on: nothing that can fail stands between.
static void* Given(lua_State* L, const char* bytes, int length) {
  void* const given = malloc((size_t)length + 1);
  if (given == NULL) luaL_error(L, "no memory for %d bytes", length);
  return memcpy(given, bytes, (size_t)length);
}

static int* Room(lua_State* L, lua_Integer count) {
  if (count < 0) luaL_error(L, "a count from 0 is wanted");
  return lua_newuserdatauv(L, ((size_t)count + 1) * sizeof(int), 0);
}

// --- What comes out ---

static void PushOwn(lua_State* L, char* text) {
  lua_pushstring(L, text);
  FreeString(text);
}

static void PushTexts(lua_State* L, char** texts, int count) {
  lua_createtable(L, texts != NULL ? count : 0, 0);
  for (int i = 0; texts != NULL && i < count; ++i) {
    lua_pushstring(L, texts[i]);
    lua_rawseti(L, -2, i + 1);
  }
}

static void PushDoubles(lua_State* L, const double* numbers, int count) {
  lua_createtable(L, numbers != NULL ? count : 0, 0);
  for (int i = 0; numbers != NULL && i < count; ++i) {
    lua_pushnumber(L, numbers[i]);
    lua_rawseti(L, -2, i + 1);
  }
}

static void PushInts(lua_State* L, const int* numbers, int count) {
  lua_createtable(L, numbers != NULL ? count : 0, 0);
  for (int i = 0; numbers != NULL && i < count; ++i) {
    lua_pushinteger(L, numbers[i]);
    lua_rawseti(L, -2, i + 1);
  }
}

static void PushList(lua_State* L, void* handle) {
  const int count = GetStringListLength(handle);
  lua_createtable(L, count, 0);
  for (int i = 0; i < count; ++i) {
    lua_pushstring(L, GetStringFromList(handle, i));
    lua_rawseti(L, -2, i + 1);
  }
  RemoveStringList(handle);
}

// In UTF-8.
static void PushWide(lua_State* L, const wchar_t* text) {
  luaL_Buffer buffer;
  luaL_buffinit(L, &buffer);
  for (; text != NULL && *text != L'\0'; ++text) {
    lua_pushfstring(L, "%U", (unsigned long)*text);
    luaL_addvalue(&buffer);
  }
  luaL_pushresult(&buffer);
}

#include "functions.inc"

// --- Beyond the header ---

static char own_directory[] = "/tmp/vexa_XXXXXX";
static bool has_own_directory;

static void RemoveOwnDirectory(void) { rmdir(own_directory); }

// start(options): a session, with a private directory for the fifos where VEXADXTEMP names none, and without
// pauses. What ends it is stop, or the end of the program.
static int Start(lua_State* L) {
  signal(SIGPIPE, SIG_IGN);  // a backend that is gone shows as a failed call
  setenv("VEXA_QUICK", "1", 0);
  if (getenv("VEXADXTEMP") == NULL && (has_own_directory || mkdtemp(own_directory) != NULL)) {
    if (!has_own_directory) atexit(RemoveOwnDirectory);
    has_own_directory = true;
    setenv("VEXADXTEMP", own_directory, 1);
  }
  const int result = StartVexa(luaL_optstring(L, 1, ""));
  return result != 0 ? Fail(L, "StartVexa", result) : 0;
}

static int Stop(lua_State* L) {
  (void)L;
  StopVexa();
  return 0;
}

static int ErrorText(lua_State* L) {
  lua_getfield(L, 1, "text");
  return 1;
}

__attribute__((visibility("default"))) int luaopen_vexaxd(lua_State* L) {
  static const luaL_Reg kOwn[] = {{"start", Start}, {"stop", Stop}, {NULL, NULL}};
  luaL_newmetatable(L, kError);
  lua_pushcfunction(L, ErrorText);
  lua_setfield(L, -2, "__tostring");
  lua_pop(L, 1);
  luaL_newlib(L, kFunctions);
  luaL_setfuncs(L, kOwn, 0);
  return 1;
}
