#include "fifo_files.h"
#include "support/sandbox.h"

namespace {

using Names = std::vector<std::string>;

// A directory of fifos, and what stays of them.
class FifoFilesTest : public testing::Test {
 protected:
  void Make(const Names& names) const {
    for (const std::string& name : names) ASSERT_EQ(mkfifo((directory.path() + "/" + name).c_str(), 0600), 0);
  }
  // Of a process that has just ended: nobody else has it yet.
  static std::string EndedProcess() {
    const pid_t child = fork();
    if (child == 0) _exit(0);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    return IdOf(child);
  }
  Sandbox directory;
};

TEST_F(FifoFilesTest, GoByTheIdOfTheirSession) {
  Make({"04d2R0xdapi", "04d2PYTHON_s", "04d2RConsole0syntaxresult", "04d20R_s", "04d2f0xdapi", "04d2",
        "4d2R_s"});
  directory.Write("04d2R_c", "no fifo");
  std::filesystem::create_symlink(directory.path() + "/4d2R_s", directory.path() + "/04d2RP2C");
  RemoveFifosOf(directory.path(), "");
  EXPECT_EQ(directory.Entries().size(), 9u);
  RemoveFifosOf(directory.path() + "/", "04d2");
  EXPECT_EQ(directory.Entries(), (Names{"04d2", "04d20R_s", "04d2RP2C", "04d2R_c", "04d2f0xdapi", "4d2R_s"}));
  RemoveFifosOf(directory.path() + "/nowhere", "04d2");
}

TEST_F(FifoFilesTest, GoByTheEndOfTheirProcess) {
  const std::string ended = EndedProcess();
  for (const char* ending :
       {"R0xdapi", "R12xdapiresult", "RConsole0syntax", "PY_9syntaxresult", "RP2C", "RC2P", "R_s", "R_c"})
    Make({ended + ending});
  Names kept = {ended + "Rxdapi",            // no level
                ended + "0xdapi",            // no language
                ended + "R0other",           // none of the endings
                ended + "R_sx",              // something behind it
                ended + "_s",                // no language either
                ended.substr(0, 3) + "R_s",  // no id
                "ffffffffR_s",               // no process id can be that large
                "0000R_s",                   // nobody's
                IdOf(getpid()) + "R_s",
                "0001R0xdapi"};
  Make(kept);
  kept.push_back(ended + "PLAIN_s");
  directory.Write(kept.back(), "no fifo");
  RemoveStaleFifos(directory.path());
  std::sort(kept.begin(), kept.end());
  EXPECT_EQ(directory.Entries(), kept);
}

#ifdef __linux__
TEST_F(FifoFilesTest, OfAnotherUserStay) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make them";
  Make({"04d2R_s", EndedProcess() + "R_s"});
  const Names all = directory.Entries();
  for (const std::string& name : all)
    ASSERT_EQ(chown((directory.path() + "/" + name).c_str(), 65534, 65534), 0);
  RemoveFifosOf(directory.path(), "04d2");
  RemoveStaleFifos(directory.path());
  EXPECT_EQ(directory.Entries(), all);
}
#endif

}  // namespace
