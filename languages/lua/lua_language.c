// The language library for Lua 5.4: what a block is and does. The example for authors of languages: seven
// functions, and an eighth that tells why a block failed. A block comes on any thread, one at a time.
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPORTED __attribute__((visibility("default")))

enum Code { kNoLua = 4003, kNoBlock = 4002, kFailed = 4001 };

static lua_State* state;
static int (*post_output)(const char*, int);
static char failure[4000];

static void Keep(const char* words) { snprintf(failure, sizeof failure, "%s", words != NULL ? words : ""); }

static void Post(const char* text, size_t length) {
  if (post_output != NULL) {
    post_output(text, (int)length);
  } else {
    fwrite(text, 1, length, stdout);
  }
}

// print and io.write go to the backend's output.
static int Print(lua_State* L) {
  luaL_Buffer line;
  const int count = lua_gettop(L);
  luaL_buffinit(L, &line);
  for (int i = 1; i <= count; ++i) {
    if (i > 1) luaL_addchar(&line, '\t');
    luaL_tolstring(L, i, NULL);
    luaL_addvalue(&line);
  }
  luaL_addchar(&line, '\n');
  luaL_pushresult(&line);
  size_t length = 0;
  const char* const text = lua_tolstring(L, -1, &length);
  Post(text, length);
  return 0;
}

static int Write(lua_State* L) {
  for (int i = 1; i <= lua_gettop(L); ++i) {
    size_t length = 0;
    const char* const text = luaL_checklstring(L, i, &length);
    Post(text, length);
  }
  return 0;
}

static int Traceback(lua_State* L) {
  luaL_traceback(L, L, luaL_tolstring(L, 1, NULL), 1);
  return 1;
}

// Modules of the bridge lie beside its libraries; `arg` are the arguments of the configuration.
static int SetUp(lua_State* L) {
  const int argc = (int)lua_tointeger(L, 1);
  char** const argv = lua_touserdata(L, 2);
  const char* const home = getenv("VEXA_HOME");
  luaL_openlibs(L);
  lua_register(L, "print", Print);
  lua_getglobal(L, "io");
  lua_pushcfunction(L, Write);
  lua_setfield(L, -2, "write");
  lua_getglobal(L, "package");
  lua_getfield(L, -1, "cpath");
  lua_pushfstring(L, "%s/lib/lua/?.so;%s", home != NULL ? home : "", lua_tostring(L, -1));
  lua_setfield(L, -3, "cpath");
  lua_createtable(L, argc, 0);
  for (int i = 0; i < argc; ++i) {
    lua_pushstring(L, argv[i]);
    lua_rawseti(L, -2, i + 1);
  }
  lua_setglobal(L, "arg");
  return 0;
}

EXPORTED void setup_dxcallback(void* table) { (void)table; }

EXPORTED int init_embedded_x(int argc, char** argv) {
  if (state != NULL) return 0;
  state = luaL_newstate();
  if (state == NULL) return kNoLua;
  lua_pushcfunction(state, SetUp);
  lua_pushinteger(state, argc);
  lua_pushlightuserdata(state, argv);
  if (lua_pcall(state, 2, 0, 0) == LUA_OK) return 0;
  Keep(lua_tostring(state, -1));
  return kNoLua;
}

EXPORTED void set_post_vexa_output(int (*post)(const char*, int)) { post_output = post; }

EXPORTED int pre_action(void) { return state != NULL ? 0 : kNoLua; }

// The code of a block is the number that it returns, if it returns one.
EXPORTED int execute_x(char* lines) {
  if (state == NULL) return kNoLua;
  Keep("");
  lua_settop(state, 0);
  lua_pushcfunction(state, Traceback);
  int code = luaL_loadbuffer(state, lines, strlen(lines), "=block") == LUA_OK ? 0 : kNoBlock;
  if (code == 0 && lua_pcall(state, 0, 1, 1) != LUA_OK) code = kFailed;
  if (code != 0) {
    Keep(lua_tostring(state, -1));
    Post(failure, strlen(failure));
    Post("\n", 1);
  } else if (lua_isinteger(state, -1)) {
    code = (int)lua_tointeger(state, -1);
  }
  lua_settop(state, 0);
  return code;
}

EXPORTED int post_action(void) { return 0; }

EXPORTED const char* last_error_x(void) { return failure; }

EXPORTED int stop_embedded_x(void) {
  if (state != NULL) lua_close(state);
  state = NULL;
  return 0;
}
