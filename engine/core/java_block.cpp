#include "java_block.h"

#include "dxglobals.h"
#include "words.h"
#include "xpipemanager.h"

namespace {

constexpr int kOnThisMachine = 1;
constexpr int kLengthBytes = 4;

// The number of the bytes in front of them, the most significant byte first.
std::string Framed(const std::string& text) {
  std::string bytes;
  for (int i = kLengthBytes - 1; i >= 0; --i) bytes += static_cast<char>(text.size() >> (8 * i) & 0xff);
  return bytes + text;
}

}  // namespace

JavaBlock::JavaBlock(XConfigOptions* java_options)
    : options(java_options), outer_socket(GetJavaExtSocket()), runtime(java_options, kOnThisMachine, true) {
  SetavaExtSocket(&socket);
}

JavaBlock::~JavaBlock() {
  JavaExtensionSmb().CleanUp();
  SetavaExtSocket(outer_socket);
}

bool JavaBlock::Fill(const std::vector<std::string>& lines) {
  std::string first = lines.empty() ? std::string() : lines.front();
  if (const std::size_t sign = first.find('='); sign != std::string::npos) first[sign] = ' ';
  const auto words = SplitWords(first);
  if (!words || (words->size() != 1 && words->size() != 3)) return false;
  const bool located = words->size() == 3;
  const bool jars = located && SameName((*words)[1].text, "/JARS");
  if (located && !jars && !SameName((*words)[1].text, "/PATH")) return false;

  JavaExtensionSmb message;
  message.SetCommandName((*words)[0].text);
  message.SetPackageMode(!jars);
  message.SetExtensionPath(located ? (*words)[2].text : GetVEXAHOME() + std::string("/extensions"));
  std::string text;
  for (std::size_t i = 1; i < lines.size(); ++i) text += lines[i] + "\n";
  std::string bytes = Framed(text);
  message.SetDataLen(static_cast<int>(bytes.size()));
  message.SetSendBuf(bytes.data());
  return true;
}

void JavaBlock::TellLevel(int level) {
  options->PutOption("VEXA_PIPE_ID", GetXPipeManager()->getPipePid());
  options->PutOption("VEXA_PIPE_LEVEL", std::to_string(level));
}
