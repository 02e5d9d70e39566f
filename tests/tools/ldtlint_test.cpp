// kandor-lint on EULUMDAT files: chosen by content, the same outputs as for LM-63.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/ldtreader.h"
#include "core/ldtwriter.h"

namespace {

namespace fs = std::filesystem;

const fs::path kDir = fs::temp_directory_path() / ("kandor-ldtlint-" + std::to_string(::getpid()));

class LdtLint : public ::testing::Test {
  protected:
    void SetUp() override { fs::create_directories(kDir); }
    void TearDown() override { fs::remove_all(kDir); }

    // Runs the tool in kDir; returns its exit status and keeps stdout in out_.
    int run(const std::string& args) {
        const std::string command = "cd '" + kDir.string() +
                                    "' && '" KANDOR_BIN_DIR "/kandor-lint' " + args + " >out 2>err";
        const int status = std::system(command.c_str());
        std::ifstream in(kDir / "out", std::ios::binary);
        out_.assign(std::istreambuf_iterator<char>(in), {});
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string out_;
};

std::string corpusFile(const std::string& name) {
    std::ifstream in(std::string(KANDOR_LDT_CORPUS_DIR) + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST_F(LdtLint, ChecksAnEulumdatFileWhateverItsName) {
    const std::string text = corpusFile("pviewer-dummy.ldt");  // type indicator 0: a note
    std::ofstream(kDir / "dummy.ies", std::ios::binary) << text;
    EXPECT_EQ(run("dummy.ies"), 0);
    EXPECT_EQ(out_, "dummy.ies:2: 10: " + std::string(kandor::ldtreader_msg::kItypZero) +
                        "\ndummy.ies: status 0\n");

    EXPECT_EQ(run("--roundtrip dummy.ies"), 0);
    EXPECT_EQ(out_, kandor::composeLdt(kandor::readLdt(text).record));

    EXPECT_EQ(run("--json dummy.ies"), 0);
    const auto j = nlohmann::json::parse(out_);
    EXPECT_EQ(j["format"], "eulumdat");
    EXPECT_EQ(j["record"]["ityp"], 0);
    EXPECT_EQ(j["record"]["intensities"].size(), 1u);
    EXPECT_EQ(j["record"]["intensities"][0].size(), 37u);
    EXPECT_TRUE(j["photometry"]["totalFlux"].is_number());  // the figures of its LM-63 twin
    EXPECT_EQ(run("--summary dummy.ies"), 0);
    EXPECT_TRUE(out_.starts_with("dummy.ies\n  Total flux ")) << out_;

    // A broken one: the table ends early; its text is only written when forced.
    std::ofstream(kDir / "short.ldt", std::ios::binary) << text.substr(0, text.size() / 2);
    EXPECT_EQ(run("--roundtrip short.ldt"), 2);
    EXPECT_EQ(out_, "");
    EXPECT_EQ(run("--roundtrip --force short.ldt"), 2);
    EXPECT_NE(out_, "");
}

TEST_F(LdtLint, EveryCorpusFileReadsClean) {
    std::string args;
    for (const auto& entry : fs::directory_iterator(KANDOR_LDT_CORPUS_DIR))
        if (entry.path().extension() == ".ldt") args += " '" + entry.path().string() + "'";
    EXPECT_EQ(run("--json" + args), 0);
}

}  // namespace
