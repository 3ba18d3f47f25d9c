// Looking at the output: snapshots of its XML under names of the driver's, XPath over them, images.
#include <set>
#include <sstream>

#include "histogram.h"
#include "session.h"

namespace {

using Texts = std::span<const std::string>;

// The kinds of entries that an output can have.
constexpr const char* kKinds[] = {"command", "text",      "textBlock",  "split",
                                  "graphic", "procedure", "pivotTable", "plot"};

std::string XmlOf(pugi::xml_node node) {
  std::ostringstream xml;
  node.print(xml, "", pugi::format_raw);
  return xml.str();
}

// Attributes and texts as their text, elements and the whole as their XML.
std::string TextOf(const pugi::xpath_node& found) {
  if (found.attribute()) return found.attribute().value();
  const bool is_text = found.node().type() == pugi::node_pcdata || found.node().type() == pugi::node_cdata;
  return is_text ? found.node().value() : XmlOf(found.node());
}

const pugi::xml_document* FindSnapshot(const Session& session, const std::string& handle) {
  const auto found = session.snapshots.find(handle);
  return found != session.snapshots.end() ? &found->second : nullptr;
}

// A handle that is there already gets a new snapshot.
int MakeHandle(Session& session, Texts texts, CleXDSmb&) {
  if (texts[0].empty()) return engine_code::kBadRequest;
  pugi::xml_document snapshot;
  snapshot.reset(session.output.Xml());
  if (XmlRanOut()) return engine_code::kNoRoom;
  session.snapshots[texts[0]] = std::move(snapshot);
  return 0;
}

int RemoveHandle(Session& session, Texts texts, CleXDSmb&) {
  return session.snapshots.erase(texts[0]) != 0 ? 0 : engine_code::kNoHandle;
}

int Handles(Session& session, CleXDSmb&, CleXDSmb& reply) {
  for (const auto& [handle, xml] : session.snapshots) reply.SetString(handle);
  return 0;
}

// Handle, context, expression. The expression is evaluated at each node of the context.
int Evaluate(Session& session, Texts texts, CleXDSmb& reply) {
  const pugi::xml_document* xml = FindSnapshot(session, texts[0]);
  if (xml == nullptr) return engine_code::kNoHandle;
  try {
    const pugi::xpath_query context(texts[1].empty() ? "/" : texts[1].c_str());
    const pugi::xpath_query expression(texts[2].c_str());
    for (const pugi::xpath_node& at : context.evaluate_node_set(*xml)) {
      if (expression.return_type() != pugi::xpath_type_node_set) {
        reply.SetString(expression.evaluate_string(at));
        continue;
      }
      pugi::xpath_node_set found = expression.evaluate_node_set(at);
      found.sort();
      for (const pugi::xpath_node& node : found) reply.SetString(TextOf(node));
    }
  } catch (const pugi::xpath_exception& fault) {
    throw Refusal(engine_code::kBadXPath, fault.what());
  }
  return 0;
}

int WideXml(Session& session, Texts texts, CleXDSmb& reply) {
  const pugi::xml_document* xml = FindSnapshot(session, texts[0]);
  if (xml == nullptr) return engine_code::kNoHandle;
  const std::wstring wide = pugi::as_wide(XmlOf(*xml));
  session.last_xml_length = wide.size();
  reply.SetwString(wide.c_str());
  return 0;
}

int WideXmlLength(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(session.last_xml_length));
  return 0;
}

// The kinds of entries, and the types of the tables that are there.
int Tags(Session& session, CleXDSmb&, CleXDSmb& reply) {
  for (const char* kind : kKinds) reply.SetString(kind);
  std::set<std::string> types;
  for (const pugi::xpath_node& type : session.output.Xml().select_nodes("//pivotTable/@type[. != '']")) {
    types.insert(type.attribute().value());
  }
  for (const std::string& type : types) reply.SetString(type);
  return 0;
}

// The image's name is that of a variable.
int Image(Session& session, Texts texts, CleXDSmb& reply) {
  if (FindSnapshot(session, texts[0]) == nullptr) return engine_code::kNoHandle;
  const Variable* variable = session.Data().Find(texts[1]);
  if (variable == nullptr) RefuseName("variable", texts[1]);
  if (variable->IsText()) return CleXDErrorCode::kWrongType;
  const std::string png = HistogramPng(session.Data(), *variable);
  reply.SetString("image/png");
  reply.SetBinaryString(png.data(), static_cast<int>(png.size()));
  reply.SetLong(static_cast<long>(png.size()));
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::CreateXPathDictionary, WithTexts<MakeHandle, 1>},
    {Action::RemoveXPathHandle, WithTexts<RemoveHandle, 1>},
    {Action::GetHandleList, Handles},
    {Action::EvaluateXPath, WithTexts<Evaluate, 3>},
    {Action::GetXmlUtf16, WithTexts<WideXml, 1>},
    {Action::GetXmlUtf16Length, WideXmlLength},
    {Action::GetOMSTagList, Tags},
    {Action::GetImage, WithTexts<Image, 2>},
};

}  // namespace

std::span<const ActionEntry> XPathActions() { return kActions; }
