// What goes into the output beside tables: commands, which are recorded and, a few of them, run, posted
// texts, procedures and what marks them, graphics of the driver's.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "commands.h"

namespace {

using Texts = std::span<const std::string>;

constexpr int kMostBlankLines = 100;

int QueueCommand(Session& session, Texts texts, CleXDSmb&) {
  session.output.Queue(texts[0]);
  return 0;
}

// When the command is done, however it went.
struct TablesShown {
  OutputDocument& output;
  ~TablesShown() {
    try {
      output.ShowTables();
    } catch (const std::bad_alloc&) {  // what is not shown is in the document all the same
    }
  }
};

int SubmitCommand(Session& session, Texts texts, CleXDSmb&) {
  const TablesShown at_end{session.output};
  return RunCommands(session, session.output.Submit(texts[0]));
}

int PostText(Session& session, Texts texts, CleXDSmb&) {
  session.output.Post(texts[0]);
  return 0;
}

int StartProcedure(Session& session, Texts texts, CleXDSmb&) {
  if (session.output.InProcedure()) return engine_code::kProcedureOpen;
  session.output.StartProcedure(texts[0], texts[1]);
  return 0;
}

// A failure leaves the procedure open, as it does on the driver's side.
int EndProcedure(Session& session, CleXDSmb&, CleXDSmb&) {
  if (!session.output.InProcedure()) return engine_code::kNoProcedure;
  session.output.Write();
  session.output.EndProcedure();
  session.style = {};
  return 0;
}

int HasProcedure(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(session.output.InProcedure() ? 1 : 0);
  return 0;
}

int AddProcedureFootnote(Session& session, Texts texts, CleXDSmb&) {
  if (!session.output.InProcedure()) return engine_code::kNoProcedure;
  session.output.Add("footnote", texts[0]);
  return 0;
}

// Outline, title, text; the integer is the number of blank lines in front.
int AddTextBlock(Session& session, CleXDSmb& request, CleXDSmb&) {
  const auto& texts = request.GetStringDataRef().Values();
  const int skip = LongArgument(request, 0).value_or(-1);
  if (texts.size() != 3 || skip < 0 || skip > kMostBlankLines) return engine_code::kBadRequest;
  session.output.Add("textBlock", texts[2],
                     {{"outline", texts[0]}, {"title", texts[1]}, {"skip", std::to_string(skip)}});
  return 0;
}

int ChangeSplit(Session& session, Texts texts, CleXDSmb&) {
  session.output.ChangeSplit(texts[0]);
  return 0;
}

// For the graphics that follow.
int LabelGraphics(Session& session, Texts texts, CleXDSmb&) {
  std::string title = texts[0];
  session.graphics_label = texts[1];
  session.graphics_title = std::move(title);
  return 0;
}

// A file of the driver's. It is shown from where it lies.
int TakeGraphic(Session& session, Texts texts, CleXDSmb&) {
  if (access(texts[0].c_str(), R_OK) != 0)
    throw Refusal(engine_code::kUnreadable, texts[0] + ": " + std::strerror(errno));
  session.output.Add(
      "graphic", {},
      {{"file", texts[0]}, {"title", session.graphics_title}, {"label", session.graphics_label}});
  return 0;
}

// The engine speaks UTF-8 alone.
int TransCode(Session&, Texts texts, CleXDSmb& reply) {
  if (!IsUtf8(texts[0])) return engine_code::kBadText;
  reply.SetString(texts[0]);
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::Submit, WithTexts<SubmitCommand, 1>},
    {Action::QueueCommandPart, WithTexts<QueueCommand, 1>},
    {Action::PostVexaOutput, WithTexts<PostText, 1>},
    {Action::StartProcedure, WithTexts<StartProcedure, 2>},
    {Action::EndProcedure, EndProcedure},
    {Action::HasProcedure, HasProcedure},
    {Action::AddProcFootnotes, WithTexts<AddProcedureFootnote, 1>},
    {Action::AddTextBlock, AddTextBlock},
    {Action::SplitChange, WithTexts<ChangeSplit, 1>},
    {Action::SetGraphicsLabel, WithTexts<LabelGraphics, 2>},
    {Action::GetGraphic, WithTexts<TakeGraphic, 1>},
    {Action::TransCode, WithTexts<TransCode, 1>},
};

}  // namespace

std::span<const ActionEntry> OutputActions() { return kActions; }
