// What the engine knows between two requests, and the table that leads from the number of a request to the
// function that serves it. A family of actions is one file with a table of its own; session.cpp puts them
// together.
#ifndef SESSION_H
#define SESSION_H

#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <set>
#include <span>
#include <string>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "datasets.h"
#include "engine_code.h"
#include "faults.h"
#include "options.h"
#include "output_document.h"
#include "plain_text.h"
#include "refusals.h"
#include "request_log.h"
#include "stream_socket.h"

using Action = CleXDSmb::CommandAction;

// A pass over the cases that were there when it began. Variables that come meanwhile stand behind those that
// the driver knows of, so its cases are the front parts of the dataset's.
struct Cursor {
  bool writes = false;
  std::size_t cases = 0;
  std::size_t case_units = 0;
  std::size_t delivered = 0;  // the last of them is the current case
};

// Variables that a driver declares, until it closes their header.
struct Declaration {
  std::size_t room = 0;  // how many were announced
  std::vector<Variable> variables;
};

// Rows that were put aside, in a file without a name: it goes with the engine, however that ends.
struct TempFile {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, std::fclose};
  std::vector<Variable> variables;
  std::vector<int> split_ends;  // the last row of each split
  int rows = 0;
};

// What a driver may set and ask for again.
struct Settings {
  int drive_mode = 0;
  int mode = 0;
  int quillon_mode = 0;
  std::string output_language = "English";
  std::string host_name, host_version, host_copyright;
};

struct Session;
// Reads its arguments out of the request and puts its results into the reply; returns the reply's code, or
// throws a Refusal.
using Handler = int (*)(Session&, CleXDSmb& request, CleXDSmb& reply);

struct Session {
  explicit Session(Backend& of_backend);

  Backend& backend;
  Options options;
  Datasets datasets;
  std::optional<Cursor> cursor;
  Declaration declared;
  TempFile temp_file;
  StreamSocket socket;
  Settings settings;
  OutputDocument output;
  NumberStyle style;  // of the numbers that tables get from now on
  std::string graphics_title, graphics_label;
  std::map<std::string, pugi::xml_document> snapshots;  // of the output, by handle
  std::size_t last_xml_length = 0;                      // of the XML given out last, in characters
  RequestLog log;
  Faults faults;
  std::string driver_language;
  bool driver_channel = false;      // the driver can be handed lines of its language
  std::set<std::string> languages;  // that blocks have come for
  // Of the blocks that are running, each within the one before: a descriptor that can be read when it is
  // over.
  std::vector<int> run_ends;
  bool x_drives = true;         // requests come from the driver, not from a process that the engine started
  bool output_written = false;  // for the last time
  bool ended = false;           // the driver said so

  // Serves one request. False when the driver waits for no reply. A reply with a code has the reason as its
  // first text, and nothing else. What a fault has ahead of the answer, happens.
  bool Serve(CleXDSmb& request, CleXDSmb& reply, const Fault* fault = nullptr);
  Dataset& Data() { return datasets.Active(); }

 private:
  void Handle(Handler handler, CleXDSmb& request, CleXDSmb& reply);
};

struct ActionEntry {
  Action action;
  Handler handler;
};

std::span<const ActionEntry> DictionaryActions();
std::span<const ActionEntry> CaseActions();
std::span<const ActionEntry> AttributeActions();
std::span<const ActionEntry> OutputActions();
std::span<const ActionEntry> PivotTableActions();
std::span<const ActionEntry> SettingActions();
std::span<const ActionEntry> XPathActions();
std::span<const ActionEntry> DefinitionActions();
std::span<const ActionEntry> WritingActions();
std::span<const ActionEntry> DataStepActions();
std::span<const ActionEntry> CellActions();
std::span<const ActionEntry> TransportActions();

// The integer at `index` of a request; nothing when the request is shorter.
std::optional<int> LongArgument(CleXDSmb& request, std::size_t index);
// The text at `index` of a request; null when the request is shorter.
const std::string* TextArgument(CleXDSmb& request, std::size_t index);
// Room for a block of bytes in the reply. Throws std::bad_alloc.
void AllocateBlock(CleXDSmb& reply, std::size_t bytes);

// Requests that carry `count` texts: the handler is called for those alone.
using TextHandler = int (*)(Session&, std::span<const std::string> texts, CleXDSmb& reply);
template <TextHandler handler, std::size_t count>
int WithTexts(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  const auto& texts = request.GetStringDataRef().Values();
  if (texts.size() != count) return engine_code::kBadRequest;
  return handler(session, texts, reply);
}

// The answer is always the same integer.
template <int answer>
int Answer(Session&, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(answer);
  return 0;
}

#endif
