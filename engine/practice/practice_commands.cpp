#include "practice_commands.h"

#include <algorithm>
#include <map>

#include "bulk_rows.h"
#include "csv_reader.h"
#include "csv_writer.h"
#include "side_file.h"
#include "words.h"

namespace {

struct Command {
  std::string verb;                                          // "GET DATA"
  std::map<std::string, std::vector<std::string>> settings;  // "/FILE" and its words

  const std::vector<std::string>& Words(const std::string& key) const {
    static const std::vector<std::string> none;
    const auto found = settings.find(key);
    return found != settings.end() ? found->second : none;
  }
  // Empty unless it is one word.
  std::string Word(const std::string& key) const {
    return Words(key).size() == 1 ? Words(key).front() : std::string();
  }
};

// A line end is a blank, and so is an equals sign outside quotes.
std::string InOneLine(std::string_view text) {
  std::string line(text);
  bool quoted = false;
  for (char& c : line) {
    if (c == '"') quoted = !quoted;
    if (c == '\n' || c == '\r' || (c == '=' && !quoted)) c = ' ';
  }
  return line;
}

// Nothing when a quote is not closed or a setting stands twice.
std::optional<Command> Parse(std::string_view text) {
  const auto words = SplitWords(InOneLine(text));
  if (!words) return std::nullopt;
  Command command;
  std::vector<std::string>* setting = nullptr;
  for (const Word& word : *words) {
    if (!word.quoted && word.text.starts_with('/')) {
      const auto [place, is_new] = command.settings.try_emplace(UpperCase(word.text));
      if (!is_new) return std::nullopt;
      setting = &place->second;
    } else if (setting != nullptr) {
      setting->push_back(word.text);
    } else {
      command.verb += (command.verb.empty() ? "" : " ") + UpperCase(word.text);
    }
  }
  return command;
}

int GetCsv(Session& session, std::span<const std::string> missing, const Command& command) {
  const std::string name = command.Word("/DATASET");
  if (JudgeName(name) != NameVerdict::Good || session.datasets.Find(name) != nullptr)
    throw Refusal(engine_code::kBadName, "/DATASET: \"" + name + "\" is no name for a new dataset");
  try {
    std::vector<std::string> warnings;
    MemoryDataset read = ReadCsv(command.Word("/FILE"), missing, warnings);
    for (const std::string& warning : warnings) session.output.Post(warning + "\n");
    ReadSideFile(command.Word("/FILE") + ".vars", read);
    read.name = name;
    dynamic_cast<MemoryDataset&>(session.datasets.Add(name)) = std::move(read);
  } catch (const Refusal& failure) {
    session.output.Post(std::string(failure.what()) + "\n");
    throw;
  }
  return 0;
}

int SaveCsv(Session& session, const Command& command) {
  Dataset* const dataset = session.datasets.Find(command.Word("/DATASET"));
  if (dataset == nullptr)
    throw Refusal(CleXDErrorCode::kUnknownDataset, "there is no dataset " + command.Word("/DATASET"));
  const Columns columns = FindColumns(*dataset, command.Words("/KEEP"));
  if (columns.empty()) return engine_code::kNoData;
  WriteCsv(*dataset, columns, command.Word("/FILE"));
  return 0;
}

// The socket serves one stream: it is closed at its end, which tells the program that the stream was taken.
struct ClosedAtEnd {
  StreamSocket& socket;
  ~ClosedAtEnd() { socket.Close(); }
};

int GetStream(Session& session, const Command& command) {
  const ClosedAtEnd end = {session.socket};
  const Columns columns = FindColumns(session.Data(), command.Words("/VARIABLES"));
  const std::size_t row_bytes = RowBytes(session.Data(), columns);
  if (row_bytes == 0) return engine_code::kNoData;
  const auto rows = session.socket.Receive();
  if (!rows) return engine_code::kNoConnection;
  if (rows->size() % row_bytes != 0)
    throw Refusal(engine_code::kBadData,
                  "the stream ended within a case of " + std::to_string(row_bytes) + " bytes");
  session.Data().Append(columns, rows->data(), rows->size() / row_bytes);
  return 0;
}

int SaveStream(Session& session, const Command& command) {
  const ClosedAtEnd end = {session.socket};
  Dataset& data = session.Data();
  const Columns columns = FindColumns(session.Data(), command.Words("/KEEP"));
  const std::size_t row_bytes = std::max<std::size_t>(RowBytes(data, columns), 1);
  const std::size_t rows_at_once = std::max<std::size_t>((std::size_t{1} << 20) / row_bytes, 1);
  for (std::size_t row = 0; row < data.CaseCount(); row += rows_at_once) {
    const std::size_t count = std::min(rows_at_once, data.CaseCount() - row);
    if (!session.socket.Send(RowsOf(data, columns, row, count))) return engine_code::kNoConnection;
  }
  return 0;
}

}  // namespace

int RunCommand(Session& session, std::span<const std::string> missing, std::string_view text) {
  text = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
  if (text.ends_with('.')) text.remove_suffix(1);
  const auto command = Parse(text);
  const bool get = command && command->verb == "GET DATA";
  if (!command || (!get && command->verb != "SAVE")) return 0;
  const std::string type = UpperCase(command->Word("/TYPE"));
  if (type == "CSV" && !command->Word("/FILE").empty()) {
    return get ? GetCsv(session, missing, *command) : SaveCsv(session, *command);
  }
  if (type != "BINARYSTREAM")
    throw Refusal(engine_code::kBadCommand, type == "CSV"
                                                ? command->verb + " lacks its /FILE, a path in double quotes"
                                                : command->verb + ": /TYPE is CSV or BINARYSTREAM");
  const auto port = ParseNumber(command->Word("/SOCKET"));
  if (!port || *port != session.socket.Port() || !session.socket.Connected())
    return engine_code::kNoConnection;
  return get ? GetStream(session, *command) : SaveStream(session, *command);
}
