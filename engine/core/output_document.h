// The output of a session: all that is submitted, posted and shown, in order, as one XML document. An open
// procedure takes what comes until it ends.
//
//   <output>
//     <command>...</command>  <text>...</text>  <textBlock outline="" title="" skip="0">...</textBlock>
//     <split>...</split>  <graphic file="" title="" label=""/>  <pivotTable>...</pivotTable>
//     <plot>...</plot>, which plot.h shows
//     <procedure name="" title=""> any of these, and <footnote>...</footnote> </procedure>
//   </output>
//
// Pivot tables are kept aside, so that a cell costs no XML: their elements are filled when the document is
// looked at.
#ifndef OUTPUT_DOCUMENT_H
#define OUTPUT_DOCUMENT_H

#include <deque>
#include <functional>
#include <initializer_list>
#include <ios>
#include <pugixml.hpp>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "output_stream.h"
#include "pivot_table.h"

// Whether memory has run out in a document since this was asked last: something is missing there then.
bool XmlRanOut();

// A change that throws has not been made.
class OutputDocument {
 public:
  using Attributes = std::initializer_list<std::pair<const char*, const std::string&>>;

  bool echo = false;      // what is posted is shown on standard output, too
  OutputStream stream;    // who wants to see all of it as it comes
  std::string said_last;  // the end of what was posted, since whoever asks for it cleared it
  std::string files;      // in front of ".txt" and ".html"; empty when the document is not written

  OutputDocument() : place(xml.append_child("output")) {}

  // Adds an element with this text and these attributes.
  pugi::xml_node Add(const char* element, const std::string& text = {}, const Attributes& attributes = {});
  // One that `fill` completes.
  pugi::xml_node AddFilled(const char* element, const std::function<void(pugi::xml_node)>& fill);
  // Texts that are posted one behind the other are one text, until the document is looked at.
  void Post(const std::string& text);
  // The parts and the command that closes them are one entry, a line each. It comes back as one text.
  void Queue(const std::string& part) { parts += part + '\n'; }
  std::string Submit(const std::string& command);

  bool InProcedure() const { return place != xml.document_element(); }
  void StartProcedure(const std::string& name, const std::string& title);
  void EndProcedure();
  void ChangeSplit(const std::string& text);

  PivotTable& StartTable(std::span<const std::string> texts, bool flag);
  // The table of the name that was started last; null for none.
  PivotTable* FindTable(std::span<const std::string> texts, bool flag);

  // The document as it is now.
  const pugi::xml_document& Xml();
  const PivotTable& TableAt(pugi::xml_node element) const;
  // Sends the tables that the stream has not, or not as they are now.
  void ShowTables();
  // Brings both files up to date, where there are any: what is new goes behind what is there already, unless
  // that has changed since. Throws Refusal.
  void Write();

 private:
  template <class Fill>
  pugi::xml_node Append(const char* element, Fill fill);
  void ClosePost();
  void Show(pugi::xml_node entry);
  void WritePage(bool anew);

  pugi::xml_document xml;
  pugi::xml_node place;  // what the next entry goes into
  std::string posted;    // not yet in the document
  std::string parts;     // queued, not yet closed by a command
  std::string split;     // the split group that was named last
  // What the files hold.
  struct Page {
    pugi::xml_node last;                // entry
    std::streamoff html = 0, text = 0;  // bytes, without the end of the HTML page
    bool valid = false;
  };
  Page page;
  std::deque<PivotTable> tables;
  std::vector<pugi::xml_node> elements;  // theirs
  PivotTable* recent = nullptr;          // the one that was found last
  std::vector<PivotTable*> to_show;      // by the stream
};

#endif
