#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "core/iesreader.h"
#include "core/prompter.h"
#include "core/saveies.h"

namespace kandor {
namespace {

std::string readFile(const std::string& path) {
    return {std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {}};
}

// What the host must hand back for a file: the reader's record as the writer composes it.
std::string composedInProcess(const std::string& crlfText) {
    writer().setLastText(crlfText);
    IesRecord record;
    IesReader().ParseIes(record, crlfText, false, writer().lastText());
    SilentPrompter quiet;
    return writer().Compose(record, quiet);
}

class KandorHost : public ::testing::Test {
  protected:
    ~KandorHost() override { std::filesystem::remove_all(dir); }

    // Runs kandor-host with args (shell words) in this test's folder, on the store there, and
    // returns "exit code|standard output|standard error".
    std::string host(const std::string& args) const {
        const int status = std::system((shell + "kandor-host " + args + " >out 2>err").c_str());
        return std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + "|" +
               readFile(dir + "/out") + "|" + readFile(dir + "/err");
    }

    char pattern_[24] = "/tmp/kandor-host-XXXXXX";
    const std::string dir = ::mkdtemp(pattern_);
    // Goes to the test's folder and store; a tool's name completes it.
    const std::string shell =
        "cd " + dir + " && export LUMIVEX_SETTINGS_DB=store.db && " KANDOR_BIN_DIR "/";
};

TEST_F(KandorHost, EveryCorpusFileComesBackAsTheWriterComposesItWhateverItsLineEnds) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR)) {
        if (entry.path().extension() != ".ies") continue;
        const char* ends[][2] = {{"\r\n", "CRLF"}, {"\n", "LF"}, {"\r", "CR"}};
        const auto& [end, name] = ends[files++ % 3];
        SCOPED_TRACE(entry.path().string() + " with line ends " + name);
        const std::string crlf =
            std::regex_replace(readFile(entry.path()), std::regex("\r?\n"), "\r\n");
        std::ofstream(dir + "/in.ies", std::ios::binary)
            << std::regex_replace(crlf, std::regex("\r\n"), end);
        ASSERT_EQ(host("put in.ies").substr(0, 2), "0|");
        EXPECT_EQ(host("get"), "0|" + composedInProcess(crlf) + "|");
    }
    EXPECT_GE(files, 20);
}

TEST_F(KandorHost, SendAndRecvAcknowledgeEachOther) {
    const auto start = std::chrono::steady_clock::now();
    const std::string lonely = host("send --to Outgoing START");
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(spent.count() >= 3.0 && spent.count() < 5.0) << spent.count();
    EXPECT_EQ(lonely,
              "1||kandor-host: nobody acknowledged the command under 'Outgoing' within 3 s.\n");
    // The command waits for a receiver that comes later.
    EXPECT_EQ(host("recv --from Outgoing --timeout 1"), "0|START\n|");

    std::FILE* recv =
        ::popen((shell + "kandor-host recv --from 'KandorPE|7' --timeout 10").c_str(), "r");
    ASSERT_TRUE(recv);
    EXPECT_EQ(host("send --to 'KandorPE|7' MOVEWIN,10,20,300,400"), "0||");
    char received[64] = {};
    EXPECT_TRUE(std::fgets(received, sizeof received, recv));
    EXPECT_EQ(::pclose(recv), 0);
    EXPECT_EQ(std::string(received), "MOVEWIN,10,20,300,400\n");
}

TEST_F(KandorHost, BadCommandLinesFilesAndSlotsAreReportedNotCrashedOn) {
    for (const char* args : {"", "get --slot 26", "get --slot two", "get extra.ies", "send START",
                             "send --to K ''", "recv --from K --timeout -1", "put"})
        EXPECT_EQ(host(args).substr(0, 3), "64|") << args;
    for (const char* args : {"put missing.ies", "put ."})
        EXPECT_EQ(host(args).substr(0, 3), "66|") << args;
    // What edit cannot open is refused at once, with the system's reason.
    ASSERT_EQ(std::system(("mkfifo " + dir + "/pipe.ies").c_str()), 0);
    for (const auto& [args, says] : {std::pair{"edit /dev/zero", "not a regular file"},
                                     {"edit pipe.ies", "not a regular file"},
                                     {"edit .", "is a folder"},
                                     {"edit missing.ies", "No such file or directory"}}) {
        const std::string out = host(args);
        EXPECT_EQ(out.substr(0, 3), "66|") << args;
        EXPECT_NE(out.find(says), std::string::npos) << out;
    }
    EXPECT_EQ(host("get --slot 2"), "1||kandor-host: slot 2 of section 'Lumivex_PE' is empty.\n");

    // A slot that a file filled and something else then spoiled.
    ASSERT_EQ(host("put " KANDOR_CORPUS_DIR "/unity-17-iesna91-8v.ies").substr(0, 2), "0|");
    const std::string spoil = "kandor-settings set Lumivex_PE Lumivex_PE VertAngles1 8,0,10,20";
    ASSERT_EQ(std::system((shell + spoil).c_str()), 0);
    EXPECT_EQ(host("get"), "1||kandor-host: slot 1: Problem parsing vertical angles\n");
}

}  // namespace
}  // namespace kandor
