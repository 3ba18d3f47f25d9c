// The language library for CPython 3: the seven functions that the bridge calls, over the embedding
// interface.
//
// Where the process has an interpreter already (a Python program that drives the backend), blocks run in that
// one. Otherwise init_embedded_x brings one up. So the library must not bring a runtime of its own along by
// being linked with one: it looks for the runtime in the process, and only where there is none loads
// libpython. It uses the stable ABI alone, so any CPython 3 from 3.9 on will do.
//
// A block comes on any thread; the interpreter lock is held for the length of a call and is let go whenever
// the block calls the bridge. What to do with a block is vexa_block.py's.
#define PY_SSIZE_T_CLEAN
#define Py_LIMITED_API 0x03090000
#include <Python.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

// No interpreter: the runtime cannot be loaded, or vexa_block cannot be imported.
constexpr int kNoInterpreter = 3003;

// The functions of the runtime, wherever in the process they are.
struct Runtime {
  std::string failure;
  bool complete = Load();
  decltype(&Py_IsInitialized) IsInitialized = Get("Py_IsInitialized");
  decltype(&Py_InitializeEx) InitializeEx = Get("Py_InitializeEx");
  decltype(&Py_FinalizeEx) FinalizeEx = Get("Py_FinalizeEx");
  decltype(&PyEval_SaveThread) SaveThread = Get("PyEval_SaveThread");
  decltype(&PyEval_RestoreThread) RestoreThread = Get("PyEval_RestoreThread");
  decltype(&PyGILState_Ensure) Ensure = Get("PyGILState_Ensure");
  decltype(&PyGILState_Release) Release = Get("PyGILState_Release");
  decltype(&PySys_GetObject) SysObject = Get("PySys_GetObject");
  decltype(&PyList_New) NewList = Get("PyList_New");
  decltype(&PyList_Insert) Insert = Get("PyList_Insert");
  decltype(&PyList_Append) Append = Get("PyList_Append");
  decltype(&PySys_SetObject) SetSysObject = Get("PySys_SetObject");
  decltype(&PySequence_Contains) Contains = Get("PySequence_Contains");
  decltype(&PyUnicode_DecodeFSDefault) PathText = Get("PyUnicode_DecodeFSDefault");
  decltype(&PyImport_ImportModule) Import = Get("PyImport_ImportModule");
  decltype(&PyObject_CallMethod) CallMethod = Get("PyObject_CallMethod");
  decltype(&PyBytes_AsString) AsBytes = Get("PyBytes_AsString");
  decltype(&PyErr_Clear) ClearError = Get("PyErr_Clear");
  decltype(&PyLong_AsLong) AsLong = Get("PyLong_AsLong");
  decltype(&PyErr_Print) PrintError = Get("PyErr_Print");
  decltype(&Py_DecRef) DecRef = Get("Py_DecRef");

 private:
  // PYTHON_LIBRARY, an entry of the language's section, names another runtime than the one this was built
  // with. It is loaded for the whole process, as modules of the language expect.
  bool Load() {
    if (dlsym(RTLD_DEFAULT, "Py_IsInitialized") != nullptr) return true;
    const char* const named = std::getenv("PYTHON_LIBRARY");
    const char* const path = named != nullptr && *named != '\0' ? named : VEXA_PYTHON_LIBRARY;
    if (dlopen(path, RTLD_NOW | RTLD_GLOBAL) != nullptr) return true;
    failure = std::string("Python cannot be loaded: ") + dlerror();
    return false;
  }

  struct Symbol {
    void* address;
    template <class Function>
    operator Function*() const {  // NOLINT(google-explicit-constructor): what it is for
      return reinterpret_cast<Function*>(address);
    }
  };
  Symbol Get(const char* name) {
    void* const address = dlsym(RTLD_DEFAULT, name);
    if (address == nullptr && complete) failure = std::string("no CPython 3: it has no ") + name;
    if (address == nullptr) complete = false;
    return {address};
  }
};

const Runtime& Python() {
  static const Runtime runtime;
  return runtime;
}

bool Running() { return Python().complete && Python().IsInitialized() != 0; }

// Does the work under the interpreter's lock. The lock is not let go by a destructor: an interpreter that
// ends meanwhile ends this thread when it asks for the lock again, and what unwinds then must not touch it.
template <class Work>
int Locked(Work work) {
  const PyGILState_STATE state = Python().Ensure();
  const int code = work();
  Python().Release(state);
  return code;
}

// An owned reference, possibly none. Destroyed under the lock.
class Reference {
 public:
  explicit Reference(PyObject* owned) : object(owned) {}
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() { Python().DecRef(object); }
  PyObject* get() const { return object; }
  explicit operator bool() const { return object != nullptr; }

 private:
  PyObject* object;
};

// The modules of the bridge lie beside its libraries.
void AddModulePath() {
  const char* const home = std::getenv("VEXA_HOME");
  PyObject* const path = Python().SysObject("path");
  if (home == nullptr || path == nullptr) return;
  const Reference folder(Python().PathText((std::string(home) + "/lib/python").c_str()));
  if (folder && Python().Contains(path, folder.get()) == 0) Python().Insert(path, 0, folder.get());
}

// vexa_block, imported at its first use and kept until the interpreter goes. Null with the reason on standard
// error.
PyObject* block_module = nullptr;

PyObject* BlockModule() {
  if (block_module == nullptr) {
    AddModulePath();
    block_module = Python().Import("vexa_block");
    if (block_module == nullptr) Python().PrintError();
  }
  return block_module;
}

// Of the interpreter that was brought up here; null where there was one already.
PyThreadState* main_thread = nullptr;

void SetArguments(int argc, char** argv) {
  const Reference arguments(Python().NewList(0));
  const Reference program(Python().PathText(""));
  Python().Append(arguments.get(), program.get());
  for (int i = 0; i < argc; ++i) {
    const Reference text(Python().PathText(argv[i]));
    if (text) Python().Append(arguments.get(), text.get());
  }
  Python().SetSysObject("argv", arguments.get());
}

}  // namespace

EXPORTED void setup_dxcallback(void*) {}

EXPORTED int init_embedded_x(int argc, char** argv) {
  if (!Python().complete) {
    std::fprintf(stderr, "%s\n", Python().failure.c_str());
    return kNoInterpreter;
  }
  if (!Running()) {
    Python().InitializeEx(0);  // signals stay the host's
    SetArguments(argc, argv);
    main_thread = Python().SaveThread();
  }
  return Locked([] { return BlockModule() != nullptr ? 0 : kNoInterpreter; });
}

EXPORTED void set_post_vexa_output(int (*post)(const char*, int)) {
  if (!Running()) return;
  Locked([post] {
    PyObject* const module = BlockModule();
    if (module == nullptr) return kNoInterpreter;
    const auto address = reinterpret_cast<unsigned long long>(post);
    const Reference done(Python().CallMethod(module, "set_post", "K", address));
    if (!done) Python().PrintError();
    return 0;
  });
}

EXPORTED int pre_action() { return Running() ? 0 : kNoInterpreter; }

EXPORTED int execute_x(char* lines) {
  if (!Running()) return kNoInterpreter;
  return Locked([lines] {
    PyObject* const module = BlockModule();
    if (module == nullptr) return kNoInterpreter;
    const Reference code(Python().CallMethod(module, "run", "y", lines));
    if (code) return static_cast<int>(Python().AsLong(code.get()));
    Python().PrintError();
    return kNoInterpreter;
  });
}

EXPORTED int post_action() { return 0; }

EXPORTED const char* last_error_x() {
  static std::string words;
  if (!Running()) return Python().failure.c_str();
  words = block_module != nullptr ? "" : "vexa_block cannot be imported from lib/python under VEXA_HOME";
  if (block_module == nullptr) return words.c_str();
  Locked([] {
    const Reference told(Python().CallMethod(block_module, "failure", nullptr));
    const char* const bytes = told ? Python().AsBytes(told.get()) : nullptr;
    if (bytes != nullptr) words = bytes;
    Python().ClearError();
    return 0;
  });
  return words.c_str();
}

// On the thread that brought the interpreter up.
EXPORTED int stop_embedded_x() {
  if (main_thread == nullptr) return 0;
  Python().RestoreThread(main_thread);
  main_thread = nullptr;
  Python().DecRef(block_module);
  block_module = nullptr;
  return Python().FinalizeEx() == 0 ? 0 : kNoInterpreter;
}
