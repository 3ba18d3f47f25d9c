#include "VexaDXConfigReader.h"
#include "dxglobals.h"
#include "support/sandbox.h"

namespace {

using namespace std::string_literals;
using Names = std::vector<std::string>;
using Variables = std::map<std::string, std::string>;

struct ConfigFile : testing::Test {
  // A reader whose home holds this configuration file.
  VexaDXConfigReader& Read(const std::string& content) {
    path = home.Write("bin/vexadxcfg.ini", content);
    SetVEXAHOME(home.path().c_str());
    return *(reader = std::make_unique<VexaDXConfigReader>());
  }
  // What a buffer of `size` bytes is given. Its rest is cleared, and the byte behind it is left alone.
  std::string Profile(const char* section, const char* key, std::size_t size) {
    std::string buffer(size + 1, '?');
    const auto used = static_cast<std::size_t>(
        reader->GetPrivateProfileString(section, key, "ignored", buffer.data(), size, path.c_str()));
    EXPECT_EQ(buffer.substr(used), std::string(size - used, '\0') + '?');
    return buffer.substr(0, used);
  }
  Names SupportedOf(Names names) {
    std::erase_if(names, [this](const std::string& name) { return !reader->IsSupportLanguage(name); });
    return names;
  }

  Sandbox home;
  std::string path;
  std::unique_ptr<VexaDXConfigReader> reader;
};

// What the last of these entries, in a section of their own, gives the environment.
std::string LastVariable(const std::vector<std::pair<std::string, std::string>>& entries) {
  XConfigOptions options("R");
  for (const auto& [key, value] : entries) options.PutOption(key, value);
  return options.GetXEnvVars()[entries.back().first];
}

TEST_F(ConfigFile, ValuesAreFoundAsTheDialectHasIt) {
  const struct {
    const char *content, *section, *key, *value;
  } cases[] = {
      {"[RSERVE]\nA=1\n[R]\nA=2\n", "r", "A", "1"},             // a section is found by a prefix
      {"[R\nA=1\n[R]\nA=2\n", "R", "A", "1"},                   // nobody looks at the "]"
      {"[R]\nA=1\n[R]\nB=2\n", "R", "B", "default"},            // a second one of the name is never read
      {"[S]\nTRACE_DIR=/a\nTRACE=/b\n", "S", "trace", "/a"},    // a key is found by a prefix,
      {"[S]\nTRACE\nTRACE=/b\n", "S", "TRACE", "default"},      // even in a line without a value,
      {"[S]\nTRACE=\nTRACE=/b\n", "S", "TRACE", "default"},     // or with an empty one
      {"[S]\n;A=1\nA=2;3 #4\n", "S", "A", "2;3 #4"},            // only a whole line is a comment
      {" \t[S]\r\n\v A = /tmp \f\r\n", "S", "A", "/tmp"},       // indentation, CR LF, blanks around "="
      {"A=0\n[S]\nB=1\n[T]\nA=2\n", "S", "A", "default"},       // other sections are not looked at
      {"[S]\n \t \n\nA=1\n", "S", "A", "1"},                    // empty lines
      {"[S]\nA=1=2", "S", "A", "1=2"},                          // no new line at the end
      {"[\xff]\n\xff=\xff\xff\n", "\xff", "\xff", "\xff\xff"},  // any byte
      {"[S]\nA=1\n", "", "", "S"},                              // without a section: the first section's name
  };
  for (const auto& c : cases) EXPECT_EQ(Read(c.content).GetOption(c.section, c.key, " default "), c.value);
}

TEST_F(ConfigFile, WhatFollowsAfter2047CharactersIsALineOfItsOwn) {
  const std::string piece = "[S]\nA=" + std::string(2045, 'x');
  EXPECT_EQ(Read(piece + "B=2\n").GetOption("S", "A", ""), std::string(2045, 'x'));
  EXPECT_EQ(reader->GetOption("S", "B", ""), "2");
  EXPECT_EQ(Read(piece + ";B=2\n").GetOption("S", "B", ""), "");
  EXPECT_EQ(Read(piece + "[T]\nB=2\n").GetOption("T", "B", ""), "2");
}

TEST_F(ConfigFile, AListingEndsBeforeANameThatLeavesNoByteFree) {
  Read("[ab] rest\nK\n[cde\0f]\n;C=\n\nL\0K=1\n =2\n\0\nM =3\n"s);  // a line ends at a NUL
  EXPECT_EQ(Profile("", "", 8), "ab\0cde\0"s);
  for (const unsigned size : {7U, 4U}) EXPECT_EQ(Profile("", "", size), "ab\0"s);
  for (const unsigned size : {3U, 0U}) EXPECT_EQ(Profile("", "", size), "");
  EXPECT_EQ(Profile("cde", nullptr, 7), "L\0\0M \0"s);
  EXPECT_EQ(Profile("cde", nullptr, 6), "L\0\0"s);
}

TEST_F(ConfigFile, AValueIsCutToItsBuffer) {
  Read("[S]\nA=12345\n");
  for (const unsigned size : {6U, 5U, 1U}) EXPECT_EQ(Profile("S", "A", size), "12345"s.substr(0, size - 1));
  EXPECT_EQ(reader->GetPrivateProfileString("S", "A", "", nullptr, 8, path.c_str()), 0);
}

TEST_F(ConfigFile, ALanguageIsSupportedByItsExactName) {
  Read("[SUPPORTED_LANG]\nX=R;;PYTHON; PERL;\n");
  EXPECT_EQ(reader->GetSupportLanguage(), (Names{"R", "", "PYTHON", " PERL"}));
  EXPECT_EQ(SupportedOf({"r", "", "PERL", "PYTHON"}), (Names{"", "PYTHON"}));
  Read("[SUPPORTED_LANG]\nXTRA=1\nX=R\n").GetOptions("_GLOBAL_");  // ahead of the first question
  EXPECT_EQ(SupportedOf({"R", "1"}), (Names{"1"}));
}

TEST_F(ConfigFile, AMissingFileSupportsOnlyTheJavaExtension) {
  Read("[SUPPORTED_LANG]\nX=R\nTRACE=/log\n[R]\nA=1\n");
  std::filesystem::remove(path);
  EXPECT_EQ(SupportedOf({"R", "JAVAEXTENSION"}), (Names{"JAVAEXTENSION"}));
  EXPECT_TRUE(reader->GetOptions("R")->GetXEnvVars().empty());
}

TEST_F(ConfigFile, TheGlobalOptionsComeFromTheirTwoSections) {
  Read("[version]\nVexadxVersion=1\nVexadxFixPack= 3 \n[SUPPORTED_LANG]\nTRACE= /log \nVexadxFixPack=4\n");
  EXPECT_EQ(reader->GetTracePath(), "/log");
  EXPECT_EQ(reader->GetVersionBugfix(), "3");
}

TEST_F(ConfigFile, ASectionIsReadOnceUnderEachSpelling) {
  XConfigOptions* const options = Read("[R]\nHOME=/old\n").GetOptions("R");
  home.Write("bin/vexadxcfg.ini", "[R]\nHOME=/new\n");
  EXPECT_EQ(reader->GetOptions("R"), options);
  EXPECT_EQ(reader->GetOptions("r")->GetXHome(), "/new");
  reader->SetXName("R");
  reader->GetOptions().PutOption("HOME", "a copy's own");
  EXPECT_EQ(options->GetXHome(), "/old");
}

TEST_F(ConfigFile, OnlyUndefinedKeysAreEnvironmentVariables) {
  Read(
      "[PYTHON]\nHOME=/py\nTRACE = 1\nFLAG\n=2\n\nA=3\nA=4=5\nINNER_PROCESS=TRUE\nWORK_ON_32=true\n[R]\nB=1");
  XConfigOptions& options = *reader->GetOptions("PYTHON");
  EXPECT_EQ(options.GetXEnvVars(), (Variables{{"TRACE ", " 1"}, {"FLAG", ""}, {"A", "4=5"}}));
  EXPECT_FALSE(options.IsInnerProcess());
  EXPECT_TRUE(options.WorkOn32());
  EXPECT_TRUE(options.IsNestable());  // whatever the file says
}

TEST(Expansion, ReplacesKnownReferencesUpToTheFirstUnknownOne) {
  SetEnvironment("VEXA_TEST_UNKNOWN", "set");
  const std::pair<const char*, const char*> cases[] = {
      {"${A}:${B}${E}", "/a:/a/b"},
      {"$A/x:$B/y", "/a/x:/a/b/y"},                      // the second form keeps its "/",
      {"$A:${A}", "$A:${A}"},                            // and is none without
      {"${U}${A}", "${U}${A}"},                          // nothing behind an unknown one is expanded
      {"${A}${HOME}${A}", "/a${HOME}${A}"},              // a defined key is no variable
      {"${VEXA_TEST_UNKNOWN}", "${VEXA_TEST_UNKNOWN}"},  // nor is the process's environment looked at
      {"${A}$", "/a$"},
      {"${A", "${A"},
  };
  for (const auto& [in, out] : cases) {
    EXPECT_EQ(LastVariable({{"HOME", "/h"}, {"A", "/a"}, {"E", ""}, {"B", "${A}/b"}, {"V", in}}), out) << in;
  }
}

TEST(Expansion, EndsWhereAValueBringsBackItsOwnReference) {
  EXPECT_EQ(LastVariable({{"A", "${A}"}, {"V", "${A}"}}), "${A}");
  EXPECT_EQ(LastVariable({{"A", "$A/x"}, {"V", "$A/y"}}).substr(0, 6), "$A/x/x");
}

TEST(Expansion, AHostsOwnHasTheLastWord) {
  SetExpandEnvStr([](const std::string& in, std::string& out) { return out = "<" + in + ">", true; });
  EXPECT_EQ(LastVariable({{"A", "1"}, {"V", "${A}"}}), "<<1>>");
  std::string out;
  EXPECT_TRUE(XConfigOptions("R").ExpandEnvVars("a", out));
  SetExpandEnvStr(nullptr);
}

TEST_F(ConfigFile, ASubclassAnswersForItsOwnOptions) {
  using Text = const std::string&;
  struct Fixed : VexaDXConfigReader {
    std::string GetOption(Text, Text key, Text) override { return key + " "; }
  } fixed;
  EXPECT_EQ(fixed.GetTracePath(), "TRACE");
}

}  // namespace
