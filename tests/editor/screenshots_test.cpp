// Screenshots of the lamp, angles and candela tabs over corpus files, for docs/. Disabled in
// normal runs; write them with
//   KANDOR_SHOTS_DIR=docs build/bin/screenshots_test --gtest_also_run_disabled_tests
// (QT_SCALE_FACTOR=2 for the double-scale look).

#include <QDir>
#include <QPixmap>
#include <QTabWidget>

#include <fstream>
#include <iterator>

#include "core/iesreader.h"
#include "editorfixture.h"

namespace kandor::testing {
namespace {

IesRecord corpusRecord(const std::string& name) {
    std::ifstream in(std::string(KANDOR_CORPUS_DIR) + "/" + name, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    IesRecord r;
    IesReader().ParseIes(r, normaliseLineEnds(text), false, "");
    r.Filename = "/photometry/" + name;
    return r;
}

class Screenshots : public EditorFixture {
  protected:
    void shoot(const char* file, const char* shot, int tab, std::string_view changingLamp) {
        form_.reset();
        list_.clear();
        start(corpusRecord(file), changingLamp);
        form_->resize(1100, 760);
        form_->findChild<QTabWidget*>("SSTab1")->setCurrentIndex(tab);
        QApplication::processEvents();
        const QString dir = qEnvironmentVariable("KANDOR_SHOTS_DIR", QStringLiteral("docs"));
        QDir().mkpath(dir);
        EXPECT_TRUE(form_->grab().save(dir + "/" + shot)) << shot;
    }
};

TEST_F(Screenshots, DISABLED_WriteThem) {
    shoot("lithonia-af10-1-32.ies", "tab-lamp-rectangle.png", 1, "ChangesCandelaMultiplier");
    shoot("pviewer-hcylinder-opening-width.ies", "tab-lamp-horizontal-cylinder.png", 1,
          "ChangesCandelaValues");
    shoot("pviewer-sphere-opening.ies", "tab-lamp-sphere.png", 1, "ChangesNothing");
    shoot("unity-23-erco-lm63-1986-7h.ies", "tab-angles-downlight.png", 2,
          "ChangesCandelaMultiplier");
    shoot("appleseed-iesparser-5-ael-typeB.ies", "tab-angles-floodlight-typeB.png", 2,
          "ChangesCandelaMultiplier");
    shoot("unity-23-erco-lm63-1986-7h.ies", "tab-candela-downlight.png", 3,
          "ChangesCandelaMultiplier");
    shoot("lithonia-af10-1-32.ies", "tab-candela-batwing.png", 3, "ChangesCandelaMultiplier");
    shoot("appleseed-iesparser-5-ael-typeB.ies", "tab-candela-floodlight-typeB.png", 3,
          "ChangesCandelaMultiplier");
    shoot("eulumdat-rs-aec-italo-181x73.ies", "tab-candela-streetlight.png", 3,
          "ChangesCandelaMultiplier");
}

}  // namespace
}  // namespace kandor::testing
