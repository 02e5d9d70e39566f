#include <gtest/gtest.h>
#include <stdlib.h>

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/prompter.h"
#include "core/saveies.h"
#include "host/exchange.h"
#include "host/sqlitesettingsstore.h"

namespace kandor {
namespace {

namespace fs = std::filesystem;

const std::string kHost = std::string(KANDOR_BIN_DIR) + "/kandor-host";
const std::string kCorpus = KANDOR_CORPUS_DIR;

QCoreApplication& app() {
    static int argc = 1;
    static char name[] = "kandorhost_test";
    static char* argv[] = {name, nullptr};
    static QCoreApplication instance(argc, argv);
    return instance;
}

struct HostRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

class KandorHost : public ::testing::Test {
  protected:
    void SetUp() override {
        app();
        std::string pattern = (fs::temp_directory_path() / "kandor-host-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        dir = pattern;
        db = dir + "/settings.sqlite3";
        std::string error;
        store = SqliteSettingsStore::open(db, error);
        ASSERT_TRUE(store) << error;
    }
    void TearDown() override {
        store.reset();
        std::error_code ec;
        fs::remove_all(dir, ec);
    }

    QProcess* start(const std::vector<std::string>& args, const std::string& storePath = {}) {
        auto* p = new QProcess;
        processes.emplace_back(p);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("LUMIVEX_SETTINGS_DB",
                   QString::fromStdString(storePath.empty() ? db : storePath));
        p->setProcessEnvironment(env);
        QStringList list;
        for (const auto& a : args)
            list << QString::fromStdString(a);
        p->start(QString::fromStdString(kHost), list);
        EXPECT_TRUE(p->waitForStarted(5000)) << "cannot start " << kHost;
        return p;
    }
    static HostRun finish(QProcess* p) {
        EXPECT_TRUE(p->waitForFinished(15000));
        HostRun r;
        r.exitCode = p->exitStatus() == QProcess::NormalExit ? p->exitCode() : -1;
        r.out = p->readAllStandardOutput().toStdString();
        r.err = p->readAllStandardError().toStdString();
        return r;
    }
    HostRun host(const std::vector<std::string>& args, const std::string& storePath = {}) {
        return finish(start(args, storePath));
    }

    std::string slotValue(std::string_view field, int slot,
                          std::string_view section = "Lumivex_PE") {
        return store->get(kExchangeApp, section, exchangeKey(field, slot));
    }

    // What the host should hand back for a file: the reader's record composed by the writer.
    static std::string composedInProcess(const std::string& path) {
        std::string text;
        for (char c : readFile(path)) {
            if (c == '\n' && (text.empty() || text.back() != '\r')) text += '\r';
            text += c;
        }
        writer().setLastText(text);
        IesRecord record;
        IesReader reader;
        reader.ParseIes(record, text, false, writer().lastText());
        SilentPrompter quiet;
        return writer().Compose(record, quiet);
    }

    std::string dir;
    std::string db;
    std::unique_ptr<SqliteSettingsStore> store;
    std::vector<std::unique_ptr<QProcess>> processes;
};

TEST_F(KandorHost, EveryCorpusFileComesBackAsTheWriterComposesIt) {
    int files = 0;
    for (const auto& entry : fs::directory_iterator(kCorpus)) {
        if (entry.path().extension() != ".ies") continue;
        ++files;
        const std::string path = entry.path().string();
        SCOPED_TRACE(path);
        HostRun put = host({"put", path});
        ASSERT_EQ(put.exitCode, 0) << put.err;
        EXPECT_NE(put.err.find(": status "), std::string::npos) << put.err;
        EXPECT_EQ(slotValue("Filename", 1), fs::absolute(path).lexically_normal().string());
        HostRun get = host({"get"});
        ASSERT_EQ(get.exitCode, 0) << get.err;
        EXPECT_EQ(get.out, composedInProcess(path));
    }
    EXPECT_GE(files, 20);
}

TEST_F(KandorHost, PutFillsConsecutiveSlotsAndClearsTheRest) {
    const std::string a = kCorpus + "/unity-17-iesna91-8v.ies";
    const std::string b = kCorpus + "/eulumdat-rs-tilt-include-synthetic.ies";
    ASSERT_EQ(host({"put", "--section", "PE7", "--slot", "1", a}).exitCode, 0);
    HostRun put = host({"put", "--section=PE7", "--slot=3", a, b});
    ASSERT_EQ(put.exitCode, 0) << put.err;
    EXPECT_EQ(slotValue("Filename", 1, "PE7"), "");
    EXPECT_EQ(slotValue("Filename", 2, "PE7"), "");
    EXPECT_EQ(slotValue("TiltIncl", 4, "PE7"), " 1");
    EXPECT_EQ(slotValue("Filename", 1), "");  // the default section is another one

    SilentPrompter quiet;
    RecordList list;
    ExchangeSlots tool(*store, std::string(kExchangeApp), "PE7", list, quiet);
    std::string error;
    ASSERT_EQ(tool.ReadExchangeRecords(25, error), 0) << error;
    ASSERT_EQ(list.ubound(), 2);
    EXPECT_EQ(list(1).Filename, fs::absolute(a).lexically_normal().string());
    EXPECT_EQ(list(2).Filename, fs::absolute(b).lexically_normal().string());
    EXPECT_TRUE(list(2).TiltIncl);
}

TEST_F(KandorHost, FilesBeyondTheLastSlotAreRefusedWithLoadData) {
    const std::string a = kCorpus + "/unity-17-iesna91-8v.ies";
    HostRun put = host({"put", "--slot", "25", a, a});
    EXPECT_EQ(put.exitCode, 1);
    EXPECT_NE(put.err.find("Load Data: You have reached the maximum number of files allowed to "
                           "load at one time (25)."),
              std::string::npos)
        << put.err;
    EXPECT_EQ(slotValue("Filename", 25), fs::absolute(a).lexically_normal().string());
}

TEST_F(KandorHost, LineEndsDoNotMatter) {
    const std::string original = readFile(kCorpus + "/unity-23-erco-lm63-1986-7h.ies");
    std::string lf;
    for (char c : original)
        if (c != '\r') lf += c;
    std::string cr = lf;
    for (char& c : cr)
        if (c == '\n') c = '\r';
    std::vector<std::string> outputs;
    for (const std::string& text : {original, lf, cr}) {
        const std::string path = dir + "/file.ies";
        std::ofstream(path, std::ios::binary) << text;
        ASSERT_EQ(host({"put", path}).exitCode, 0);
        HostRun get = host({"get"});
        ASSERT_EQ(get.exitCode, 0) << get.err;
        outputs.push_back(get.out);
    }
    EXPECT_EQ(outputs[0], outputs[1]);
    EXPECT_EQ(outputs[0], outputs[2]);
}

TEST_F(KandorHost, ACommandIsReceivedAndAcknowledged) {
    QProcess* recv = start({"recv", "--from", "KandorPE|7", "--timeout", "10"});
    HostRun send = host({"send", "--to", "KandorPE|7", "MOVEWIN,10,20,300,400"});
    HostRun got = finish(recv);
    EXPECT_EQ(send.exitCode, 0) << send.err;
    EXPECT_EQ(got.exitCode, 0) << got.err;
    EXPECT_EQ(got.out, "MOVEWIN,10,20,300,400\n");
    EXPECT_EQ(store->get(kExchangeApp, "Lumivex_PE", "KandorPE|7", "missing"), "");
}

TEST_F(KandorHost, WithoutAReceiverTheSenderGivesUpAfterThreeSeconds) {
    const auto start = std::chrono::steady_clock::now();
    HostRun send = host({"send", "--to", "Outgoing", "START"});
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(send.exitCode, 1);
    EXPECT_GE(seconds, 3.0);
    EXPECT_LT(seconds, 5.0);
    EXPECT_NE(send.err.find("nobody acknowledged"), std::string::npos) << send.err;
    EXPECT_EQ(store->get(kExchangeApp, "Lumivex_PE", "Outgoing"), "START");  // left in place
}

TEST_F(KandorHost, ReceivingWithoutAcknowledgingLeavesTheCommand) {
    store->save(kExchangeApp, "Lumivex_PE", "Out", "SendUpdatedDataClose*,KandorPE,7");
    HostRun peek = host({"recv", "--from", "Out", "--no-ack", "--timeout", "1"});
    EXPECT_EQ(peek.exitCode, 0);
    EXPECT_EQ(peek.out, "SendUpdatedDataClose*,KandorPE,7\n");
    EXPECT_EQ(store->get(kExchangeApp, "Lumivex_PE", "Out"), "SendUpdatedDataClose*,KandorPE,7");
    EXPECT_EQ(host({"recv", "--from", "Out", "--timeout", "1"}).exitCode, 0);
    HostRun none = host({"recv", "--from", "Out", "--timeout", "0.2"});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(none.out, "");
}

TEST_F(KandorHost, BadSlotsAreReportedNotComposed) {
    HostRun empty = host({"get", "--slot", "2"});
    EXPECT_EQ(empty.exitCode, 1);
    EXPECT_NE(empty.err.find("slot 2 of section 'Lumivex_PE' is empty"), std::string::npos);

    ASSERT_EQ(host({"put", kCorpus + "/unity-17-iesna91-8v.ies"}).exitCode, 0);
    store->save(kExchangeApp, "Lumivex_PE", "VertAngles1", "8,0,10,20");
    HostRun broken = host({"get"});
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_EQ(broken.out, "");
    EXPECT_NE(broken.err.find("Problem parsing vertical angles"), std::string::npos) << broken.err;
}

TEST_F(KandorHost, BadCommandLinesAndFilesHaveTheirOwnExitStatus) {
    struct Case {
        std::vector<std::string> args;
        int exitCode;
    };
    const std::vector<Case> cases = {
        {{}, 64},
        {{"get", "--slots", "2"}, 64},
        {{"get", "--slot", "26"}, 64},
        {{"get", "--slot", "two"}, 64},
        {{"get", "extra.ies"}, 64},
        {{"put"}, 64},
        {{"send", "START"}, 64},
        {{"send", "--to", "K", ""}, 64},
        {{"recv", "--from", "K", "--timeout", "-1"}, 64},
        {{"put", dir + "/missing.ies"}, 66},
        {{"put", dir}, 66},
    };
    for (const Case& c : cases) {
        std::string line;
        for (const auto& a : c.args)
            line += a + " ";
        SCOPED_TRACE(line);
        HostRun r = host(c.args);
        EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
        EXPECT_FALSE(r.err.empty());
    }
    HostRun help = host({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("usage: kandor-host put"), std::string::npos);
}

TEST_F(KandorHost, AnUnusableStoreIsAMessageNotACrash) {
    const std::string blocker = dir + "/file";
    std::ofstream(blocker) << "x";
    HostRun r = host({"get"}, blocker + "/settings.sqlite3");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find(storemsg::kCannotOpen), std::string::npos) << r.err;
}

}  // namespace
}  // namespace kandor
