// Every button and dialog of the editor on records that the exchange or a forced parse can
// make inconsistent in every way: the tool must never end, and must never change the record it
// refused to hand back.

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "dialogs/dlgpreview.h"
#include "editorfixture.h"

namespace kandor {
namespace {

using testing::EditorFixture;
using testing::smallRecord;

IesRecord forcedParse(const std::string& bytes) {
    IesRecord record;
    IesReader reader;
    reader.hooks.ReportIssue = [](int, int, const std::string&) {};
    const std::string text = normaliseLineEnds(bytes);
    reader.ParseIes(record, text, false, text);
    record.Filename = "/data/forced.ies";
    return record;
}

struct Hostile {
    const char* name;
    std::function<IesRecord()> make;
};

std::vector<Hostile> hostileRecords() {
    return {
        {"default record", [] { return IesRecord{}; }},
        {"empty file forced", [] { return forcedParse(""); }},
        {"binary forced",
         [] {
             std::ifstream in("/bin/ls", std::ios::binary);
             std::string bytes(4096, '\0');
             in.read(bytes.data(), 4096);
             return forcedParse(bytes);
         }},
        {"header only forced",
         [] { return forcedParse("IESNA:LM-63-2002\nTILT=NONE\n1 1000 1 3 2"); }},
        {"counts above the arrays",
         [] {
             IesRecord r = smallRecord();
             r.OtherData.numVertAngles = 9;
             r.OtherData.numHorzAngles = 7;
             return r;
         }},
        {"counts below the arrays",
         [] {
             IesRecord r = smallRecord();
             r.OtherData.numVertAngles = 1;
             r.OtherData.numHorzAngles = 1;
             return r;
         }},
        {"negative counts",
         [] {
             IesRecord r = smallRecord();
             r.OtherData.numVertAngles = -3;
             r.OtherData.numHorzAngles = -32768;
             return r;
         }},
        {"candela table smaller than the angles",
         [] {
             IesRecord r = smallRecord();
             r.Candela.redim(1, 1);
             return r;
         }},
        {"empty arrays with counts",
         [] {
             IesRecord r = smallRecord();
             r.VertAngles.clear();
             r.HorAngles.clear();
             r.Candela.redim(0, 0);
             return r;
         }},
        {"no keywords, Type B",
         [] {
             IesRecord r = smallRecord(2);
             r.Keywords.clear();
             return r;
         }},
        {"tilt pairs above the arrays",
         [] {
             IesRecord r = smallRecord();
             r.TiltIncl = true;
             r.TiltData.lampToLuminaire = 7;
             r.TiltData.numPairs = 12;
             r.TiltData.angles.redim(2);
             r.TiltData.factors.redim(1);
             return r;
         }},
        {"photometric type 0 with one angle",
         [] {
             IesRecord r = smallRecord();
             r.OtherData.photometricType = 0;
             r.resizeGrid(1, 1);
             return r;
         }},
    };
}

// Closes whatever modal box or dialog opens above the form, so every button can be pressed;
// the preview gets its OK pressed once on the text it composed first.
class ModalCloser {
  public:
    ModalCloser() {
        timer_.setInterval(5);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (!dialog) return;
            auto* preview = qobject_cast<dlgPreview*>(dialog);
            if (preview && !previewOkPressed_) {
                previewOkPressed_ = true;
                preview->OKButton->click();
                return;
            }
            dialog->reject();
        });
        timer_.start();
    }

  private:
    QTimer timer_;
    bool previewOkPressed_ = false;
};

class HostileRecordTest : public EditorFixture, public ::testing::WithParamInterface<Hostile> {};

TEST_P(HostileRecordTest, EveryButtonAndDialogKeepsTheToolAlive) {
    const IesRecord original = GetParam().make();
    start(original);
    ModalCloser closer;
    auto press = [this](const char* name) {
        SCOPED_TRACE(name);
        EXPECT_NO_THROW(child<QPushButton>(name)->click());
    };
    auto* tabs = child<QTabWidget>("SSTab1");
    for (int i = 0; i < tabs->count(); ++i)
        tabs->setCurrentIndex(i);
    press("cmdCopy");
    press("cdaCmdPaste");
    press("cmdSettings");
    press("cmdAbout");
    press("cmdHelp");

    press("cmdPreview");

    auto* tilt = child<QCheckBox>("tltChkTilt");
    EXPECT_NO_THROW(tilt->click());
    EXPECT_NO_THROW(tilt->click());
    EXPECT_NO_THROW(child<QComboBox>("lmpCmbShape")->setCurrentIndex(1));
    type("txtNumLamps", "3");
    type("lmpTxtNumAngles", "4");

    press("cmdRefresh");
    press("cmdOk");
    // A hand-back that faulted says so in the tool's words and leaves the record as it came.
    for (const std::string& message : messages())
        if (message.starts_with("error, could not")) {
            EXPECT_EQ(list_(1), original) << message;
        }
    // Reshaping whatever the record holds is refused or done, never a fault; Undo still ends it.
    type("phoTxtVertAngle", "45");
    type("phoTxtHorzAngle", "45");
    for (const char* name : {"phoCmdInsertVert", "phoCmdInsertHorz", "phoCmdRemoveVert",
                             "phoCmdRemoveHorz", "phoCmdReshape"})
        press(name);
    prompter_.queue(PromptAnswer::Yes);
    press("cmdUndo");
    // Undo brought the record back as it came; nothing above handed anything over.
    EXPECT_EQ(list_(1), original);
    press("cmdCancel");
}

std::vector<Hostile> corpusForced() {
    std::vector<Hostile> out;
    static std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR))
        if (entry.path().extension() == ".ies") names.push_back(entry.path().string());
    std::sort(names.begin(), names.end());
    for (const std::string& path : names) {
        out.push_back({path.c_str() + path.rfind('/') + 1, [path] {
                           std::ifstream in(path, std::ios::binary);
                           return forcedParse({std::istreambuf_iterator<char>(in), {}});
                       }});
    }
    return out;
}

std::string testName(const ::testing::TestParamInfo<Hostile>& p) {
    std::string name = p.param.name;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Records, HostileRecordTest, ::testing::ValuesIn(hostileRecords()),
                         testName);
INSTANTIATE_TEST_SUITE_P(Corpus, HostileRecordTest, ::testing::ValuesIn(corpusForced()), testName);

}  // namespace
}  // namespace kandor
