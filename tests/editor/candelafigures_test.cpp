// The candela tab's photometry panel and what the diagram offers beyond drawing: the plane pair
// shown, the unit, the reading under the pointer and the export.

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QTabWidget>

#include <functional>

#include "core/photometry.h"
#include "editor/photometrypanel.h"
#include "editor/plotcd.h"
#include "editorfixture.h"

namespace kandor::testing {
namespace {

using CandelaFigures = EditorFixture;

TEST_F(CandelaFigures, ThePanelShowsWhatTheFormWouldSaveAfterEveryKindOfEdit) {
    for (std::int16_t photometricType : {1, 2}) {
        SCOPED_TRACE(photometricType);
        form_.reset();
        list_.clear();
        start(smallRecord(photometricType));
        const auto* panel = child<PhotometryPanel>("cdaFraPhotometry");
        const std::pair<const char*, std::function<void()>> edits[] = {
            {"cell", [this] { write("cdaGridCd", 1, 2, "500"); }},
            {"angle", [this] { write("phoGridVert", 0, 1, "30"); }},
            {"lamps", [this] { type("txtNumLamps", "3"); }},
            {"multiplier", [this] { type("txtMultiplier", "1.5"); }},
            {"watts", [this] { type("txtWatt", "40"); }},
            {"lumens", [this] { type("txtLumPerLamp", "-1"); }},
        };
        for (const auto& [what, edit] : edits) {
            SCOPED_TRACE(what);
            edit();
            const Photometry shown = panel->figures();
            form_->collectState();
            ASSERT_TRUE(form_->saveToRecord());
            const Photometry saved = computePhotometry(photometryInput(form_->record()));
            EXPECT_EQ(*shown.totalFlux, *saved.totalFlux);
            EXPECT_EQ(shown.lorPercent.value, saved.lorPercent.value);
            EXPECT_EQ(shown.efficacy.value, saved.efficacy.value);
            EXPECT_EQ(shown.peak->cd, saved.peak->cd);
        }
        EXPECT_EQ(child<QLabel>("cdaLabLor")->text(), "absolute photometry");
        EXPECT_FALSE(child<QLabel>("cdaLabBeam1")->isHidden());
        EXPECT_EQ(child<QLabel>("cdaLabCie")->isHidden(), photometricType == 2);
    }
}

TEST_F(CandelaFigures, TheDiagramShowsAChosenPairInCdOrCdPerKilolumenAndExportsIt) {
    start(smallRecord(), "ChangesNothing");  // 2000 lamp lumens
    child<QTabWidget>("SSTab1")->setCurrentIndex(3);
    QApplication::processEvents();
    auto* planes = child<QComboBox>("cdaCmbPlanes");
    auto* unit = child<QComboBox>("cdaCmbUnit");
    auto* plot = child<plotCD>("picCda");
    QStringList offered;
    for (int i = 0; i < planes->count(); ++i)
        offered << planes->itemText(i);
    EXPECT_EQ(offered, QStringList({"C0 - C180 and C90 - C270", "C0 - C180", "C90 - C270"}));

    planes->setCurrentIndex(2);
    unit->setCurrentIndex(1);
    ASSERT_EQ(plot->plot().curves.size(), 1u);
    EXPECT_EQ(plot->plot().curves[0].label, "C270 | C90");
    EXPECT_DOUBLE_EQ(plot->plot().peak, 230 * 1000.0 / 2000);
    const PlotFrame f = plot->frame();
    EXPECT_EQ(plot->readoutAt(f.map(45, f.scaleMax / 2, false)),
              QStringList{"C90, \u03B3 45.0\u00B0: 110.0 cd/klm"});
    EXPECT_TRUE(plot->readoutAt(f.centre + QPointF(f.radius + 2, 0)).isEmpty());

    const QString dir = QDir::tempPath() + "/kandor-plot-" + QString::number(getpid());
    QDir().mkpath(dir);
    ASSERT_TRUE(plot->exportPng(dir + "/p.png"));
    EXPECT_EQ(QImage(dir + "/p.png").size(), plot->size() * 2);
    ASSERT_TRUE(plot->exportSvg(dir + "/p.svg"));
    QFile svg(dir + "/p.svg");
    ASSERT_TRUE(svg.open(QIODevice::ReadOnly));
    EXPECT_TRUE(
        svg.readAll().contains("cd/klm = file values x multiplier 1 x 1000 / 2000 lamp lm"));
    EXPECT_FALSE(plot->exportPng(dir + "/missing/p.png"));
    QDir(dir).removeRecursively();

    // The caption follows the lamp fields as typed.
    unit->setCurrentIndex(0);
    type("txtMultiplier", "1.875");
    type("txtBallast", "0.9");
    EXPECT_EQ(plot->caption(), "cd = file values x multiplier 1.875 (ballast factor not applied)");
    type("txtMultiplier", "1");

    // Absolute photometry has no lamp lumens to refer to: back to cd.
    type("txtLumPerLamp", "-1");
    EXPECT_FALSE(unit->isEnabled());
    EXPECT_EQ(plot->unit(), "cd");
    EXPECT_DOUBLE_EQ(plot->plot().peak, 230);
}

}  // namespace
}  // namespace kandor::testing
