// What makes a backend of its own out of this library: where its datasets come from, what its commands are,
// and the options that only it has. Everything else a driver asks for is served for it. A backend is a class
// and a main:
//
//   int main(int argc, char** argv) {
//     MyBackend backend;
//     return BackendMain(backend, argc, argv);
//   }
#ifndef BACKEND_H
#define BACKEND_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dataset.h"
#include "engine_code.h"

struct Session;

// What a driver is told of the backend, and its messages begin with.
struct Identity {
  std::string name, version, copyright;
};

// All but Cancel is called on the thread that serves the driver. What cannot be done throws Refusal.
class Backend {
 public:
  explicit Backend(Identity its_identity) : identity(std::move(its_identity)) {}
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  virtual ~Backend() = default;

  const Identity identity;

  // --- The start and the end ---

  // An option that is not one of those every backend has. `value` takes the word behind it; empty when there
  // is none. False for an option that is unknown here, too.
  virtual bool TakeOption(const std::string& option, const std::function<std::string()>& value);
  // Behind the options, ahead of the first request: finds the data, and makes a dataset the active one.
  virtual void Open(Session& session);
  // Behind the last request. Not called where the process is ended from outside.
  virtual void Close(Session&) {}
  // From another thread: the driver is gone, and the process ends behind this. Ends what goes on elsewhere.
  virtual void Cancel() noexcept {}

  // --- Datasets ---

  // A new dataset without variables and cases; `temporary` when it goes with the session or earlier.
  virtual std::unique_ptr<Dataset> Make(const std::string& name, bool temporary) = 0;
  // One that is not open but could be; null when there is none of the name.
  virtual std::unique_ptr<Dataset> Find(const std::string&) { return nullptr; }
  // The names of those that could be opened.
  virtual std::vector<std::string> Names() { return {}; }
  // The dataset, which is still whole, is closed for good. Not called at the end of the session.
  virtual void Closed(Dataset&) {}

  // --- Commands ---

  // Where the command that the text begins with ends: behind its last byte. The whole text where it has no
  // end.
  virtual std::size_t CommandEnd(std::string_view text) const;
  // Runs it, and returns its code. A command that means nothing here is recorded and not run: 0.
  virtual int Run(Session&, std::string_view) { return 0; }
  // Around a block of lines of another language, which may nest: what it does and what it asks for in turn.
  virtual void StartBlock(Session&) {}
  virtual void EndBlock(Session&, bool /*succeeded*/) {}

  // --- What a driver may ask for ---

  // Settings beside those of every backend, by name; those that are files stand among the file handles, too.
  struct Setting {
    std::string name, value;
    bool is_file = false;
  };
  virtual std::vector<Setting> Settings() const { return {}; }
};

// The program of the backend: BINARY DIRECTORY ID XNAME OPTIONS, as bin/StartXD passes them on. Serves the
// driver until that ends the session or goes away; returns the exit status.
int BackendMain(Backend& backend, int argc, char** argv);

#endif
