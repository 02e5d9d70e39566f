#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/prompter.h"
#include "core/saveies.h"

namespace {

namespace fs = std::filesystem;

struct Outcome {
    int exit = -1;
    std::string out;
    std::string err;
};

std::string readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::string quote(const std::string& arg) {
    std::string q = "'";
    for (char c : arg)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

class Lint : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("kandor-lint-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string file(const std::string& name, const std::string& bytes) {
        const fs::path path = dir_ / name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path.string();
    }

    Outcome run(const std::vector<std::string>& args) {
        std::string command = quote(std::string(KANDOR_BIN_DIR) + "/kandor-lint");
        for (const std::string& a : args)
            command += " " + quote(a);
        const fs::path out = dir_ / "stdout";
        const fs::path err = dir_ / "stderr";
        command += " >" + quote(out.string()) + " 2>" + quote(err.string());
        const int status = std::system(command.c_str());
        Outcome r;
        r.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;  // -1: killed by a signal
        r.out = readBytes(out);
        r.err = readBytes(err);
        return r;
    }

    fs::path dir_;
};

// A small Type C file with LF line ends, as many real files have them.
std::string sample(const std::string& keyword = "[MANUFAC] ACME", const std::string& watts = "50",
                   const std::string& lamps = "1") {
    return "IESNA:LM-63-1995\n[TEST] 1\n" + keyword + "\nTILT=NONE\n" + lamps +
           " 1000 1 3 2 1 1 0 0 0\n1 1 " + watts + "\n0 45 90\n0 90\n100 80 10\n100 70 5\n";
}

TEST_F(Lint, ReportsOneLinePerProblemThenTheStatus) {
    const std::string f = file("a.ies", sample("[FOO] x", "0"));
    const Outcome r = run({f});
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.out, f + ":3: 27: Invalid Keyword\n" + f +
                         ":6: 25:  Invalid input watts, read: 0\n" + f + ": status 1\n");
    EXPECT_EQ(r.err, "");
}

TEST_F(Lint, LineEndsAreMadeCrlfBeforeReading) {
    std::string crOnly = sample("[FOO] x");
    for (char& c : crOnly)
        if (c == '\n') c = '\r';
    for (const std::string& bytes : {sample("[FOO] x"), crOnly}) {
        const std::string f = file("b.ies", bytes);
        EXPECT_EQ(run({f}).out, f + ":3: 27: Invalid Keyword\n" + f + ": status 3\n");
    }
}

TEST_F(Lint, ExitStatusIsTheWorstFileBySeverity) {
    const std::string clean = file("clean.ies", sample());
    const std::string keywords = file("kw.ies", sample("[FOO] x"));
    const std::string values = file("values.ies", sample("[MANUFAC] M", "0"));
    const std::string unusable = file("unusable.ies", "no tilt line here\n");
    struct Case {
        std::vector<std::string> files;
        int exit;
    } cases[] = {
        {{clean}, 0},
        {{clean, keywords}, 3},
        {{keywords, values, clean}, 1},
        {{unusable, values, keywords}, 2},
    };
    for (const Case& c : cases)
        EXPECT_EQ(run(c.files).exit, c.exit) << c.files.size();
}

TEST_F(Lint, UsageAndUnreadableFiles) {
    EXPECT_EQ(run({}).exit, 64);
    const Outcome unknown = run({"--frobnicate", file("a.ies", sample())});
    EXPECT_EQ(unknown.exit, 64);
    EXPECT_NE(unknown.err.find("unknown option --frobnicate"), std::string::npos);
    EXPECT_EQ(run({"--json", "--roundtrip", file("a.ies", sample())}).exit, 64);

    const Outcome help = run({"--help"});
    EXPECT_EQ(help.exit, 0);
    for (const char* text : {"Usage: kandor-lint", "--json", "--roundtrip", "Exit status"})
        EXPECT_NE(help.out.find(text), std::string::npos) << text;

    const std::string good = file("good.ies", sample());
    const std::string missing = (dir_ / "missing.ies").string();
    const Outcome r = run({missing, good, dir_.string()});
    EXPECT_EQ(r.exit, 66);
    EXPECT_NE(r.err.find("kandor-lint: cannot read " + missing + ": "), std::string::npos);
    EXPECT_NE(r.err.find("kandor-lint: cannot read " + dir_.string() + ": "), std::string::npos);
    EXPECT_NE(r.out.find(good + ": status 0\n"), std::string::npos);  // the rest is still read

    const std::string dash = file("-dash.ies", sample());
    EXPECT_EQ(run({"--", dash}).exit, 0);
}

TEST_F(Lint, RunTimeFaultIsNamed) {
    const std::string f = file("big.ies", sample("[MANUFAC] M", "50", "1E39"));
    const Outcome r = run({f});
    EXPECT_EQ(r.exit, 2);
    EXPECT_EQ(r.out, f + ": stopped by run-time error 6 (Overflow)\n" + f + ": status 2\n");
}

TEST_F(Lint, RoundtripWritesTheWritersBytes) {
    const std::string text = sample("[FOO] x");
    const Outcome r = run({"--roundtrip", file("a.ies", text)});
    EXPECT_EQ(r.exit, 3);

    std::string crlf;
    for (char c : text)
        crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    kandor::writer().setLastText(crlf);
    kandor::IesRecord record;
    kandor::IesReader reader;
    reader.ParseIes(record, crlf, false, crlf);
    kandor::SilentPrompter prompter;
    EXPECT_EQ(r.out, kandor::writer().Compose(record, prompter));
    EXPECT_NE(r.out.find("\r\nTILT=NONE\r\n"), std::string::npos);
    EXPECT_NE(r.err.find("status 3"), std::string::npos);
}

TEST_F(Lint, JsonCarriesTheRecordHorizontalFirst) {
    const std::string f = file("a.ies", sample("[MANUFAC] \xB0 caf\xC3\xA9", "0"));
    const Outcome r = run({"--json", f});
    EXPECT_EQ(r.exit, 1);
    const nlohmann::json j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["file"], f);
    EXPECT_EQ(j["status"], 1);
    EXPECT_TRUE(j["fault"].is_null());
    ASSERT_EQ(j["reports"].size(), 1u);
    EXPECT_EQ(j["reports"][0]["code"], 25);
    EXPECT_EQ(j["reports"][0]["line"], 6);
    EXPECT_EQ(j["reports"][0]["message"], " Invalid input watts, read: 0");
    EXPECT_EQ(j["keywords"][2], "[MANUFAC] \xEF\xBF\xBD caf\xC3\xA9");  // the stray byte replaced
    EXPECT_EQ(j["tilt"]["included"], false);
    EXPECT_EQ(j["header"]["numVertAngles"], 3);
    EXPECT_EQ(j["header"]["lumensPerLamp"], 1000.0);
    EXPECT_EQ(j["verticalAngles"], nlohmann::json({0.0, 45.0, 90.0}));
    EXPECT_EQ(j["candela"], nlohmann::json({{100.0, 80.0, 10.0}, {100.0, 70.0, 5.0}}));
}

TEST_F(Lint, NeverCrashesOnOddInput) {
    std::string binary;
    for (int i = 0; i < 4096; ++i)
        binary += static_cast<char>((i * 7919) % 256);
    const std::vector<std::string> files = {
        file("empty.ies", ""),
        file("binary.ies", binary),
        file("huge.ies", "TILT=NONE\r\n1 1000 1 32767 32767 1 1 0 0 0\r\n1 1 1\r\n0 90"),
        file("separators.ies", "IESNA91\r\nTILT=NONE\r\n" + std::string(10000, ',')),
    };
    for (const std::string_view mode : {"", "--json", "--roundtrip"}) {
        std::vector<std::string> args = files;
        if (!mode.empty()) args.insert(args.begin(), std::string(mode));
        const Outcome r = run(args);
        EXPECT_EQ(r.exit, 2) << mode;
    }
}

TEST_F(Lint, EveryCorpusFile) {
    for (const auto& entry : fs::directory_iterator(KANDOR_CORPUS_DIR)) {
        if (entry.path().extension() != ".ies") continue;
        const std::string f = entry.path().string();
        SCOPED_TRACE(f);
        const Outcome r = run({f});
        ASSERT_TRUE(r.exit == 0 || r.exit == 1 || r.exit == 3) << r.out << r.err;
        EXPECT_TRUE(r.out.ends_with(f + ": status " + std::to_string(r.exit) + "\n")) << r.out;
        EXPECT_EQ(run({"--json", f}).exit, r.exit);
        EXPECT_EQ(run({"--roundtrip", f}).exit, r.exit);
    }
}

}  // namespace
