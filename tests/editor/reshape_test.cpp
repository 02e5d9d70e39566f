// Reshaping the web from the angles tab as a user does it: inserting and removing angles by
// value, by the selected column and by key, the reshape dialog's preview and OK, and the
// tabs, the record and Undo following. The operations themselves are the core tests' business.

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

#include <fstream>
#include <iterator>

#include "core/iesreader.h"
#include "core/webops.h"
#include "dialogs/dlgreshape.h"
#include "editorfixture.h"

namespace kandor::testing {
namespace {

using Reshape = EditorFixture;

void select(QTableView* grid, int column) {
    grid->setCurrentIndex(grid->model()->index(0, column));
}

TEST_F(Reshape, InsertAndRemoveByValueOrColumn) {
    start(smallRecord());
    type("phoTxtVertAngle", "22.5");
    child<QPushButton>("phoCmdInsertVert")->click();
    EXPECT_EQ(text("phoTxtVert"), "4");
    EXPECT_EQ(text("phoTxtVertAngle"), "");
    EXPECT_EQ(cell("phoGridVert", 0, 1), "22.5");
    EXPECT_EQ(cell("cdaGridCd", 1, 1), "115.00");  // halfway between 110 and 120
    EXPECT_EQ(form_->record().VertAngles, (OneBased<float>{0, 22.5f, 45, 90}));
    EXPECT_FALSE(shaded("cdaGridCd", 1, 1));  // the record has the new web too
    // The new column is selected: Remove with nothing typed takes it out again.
    child<QPushButton>("phoCmdRemoveVert")->click();
    EXPECT_EQ(form_->state().vertAngles, (OneBased<float>{0, 45, 90}));

    select(child<QTableView>("phoGridHorz"), 0);
    child<QPushButton>("phoCmdInsertHorz")->click();  // midway after the selected column
    EXPECT_EQ(cell("phoGridHorz", 0, 1), "45");
    EXPECT_EQ(cell("cdaGridCd", 0, 2), "160.00");
    EXPECT_EQ(form_->record().OtherData.numHorzAngles, 3);
    EXPECT_TRUE(prompter_.calls().empty());
}

TEST_F(Reshape, RefusalsAreShownAndChangeNothing) {
    start(smallRecord());
    struct Case {
        const char* typed;
        const char* button;
        int selected;  // column of the vertical grid, -1 for none
        std::string message;
    } cases[] = {
        {"95", "phoCmdInsertVert", -1, "The angle 95 lies outside the vertical angles, 0 to 90."},
        {"abc", "phoCmdInsertVert", -1, "Not a number I know!"},
        {"", "phoCmdInsertVert", -1, "Type an angle, or select the column of the grid first."},
        {"50", "phoCmdRemoveVert", 0, "There is no vertical angle of 50."},
        {"", "phoCmdRemoveVert", 0,
         "Removing this angle would break a rule of saving: Photometric: First vertical angle "
         "must be 0 or 90"},
    };
    for (const Case& c : cases) {
        select(child<QTableView>("phoGridVert"), c.selected);
        type("phoTxtVertAngle", c.typed);
        child<QPushButton>(c.button)->click();
        EXPECT_EQ(prompter_.last().text, c.message) << c.typed;
        EXPECT_EQ(form_->state().numVert, 3);
    }
}

TEST_F(Reshape, TypeBInsertsInTheHeldOrder) {
    start(smallRecord(2));
    type("phoTxtVertAngle", "-45");
    child<QPushButton>("phoCmdInsertVert")->click();
    EXPECT_EQ(cell("phoGridVert", 0, 2), "-45");
    EXPECT_EQ(form_->record().VertAngles, (OneBased<float>{-90, -45, 0, 90}));
    EXPECT_EQ(form_->record().Candela(1, 2), 115.0);
}

TEST_F(Reshape, KeysInsertAndRemoveWithoutPressingOk) {
    start(smallRecord());
    QLineEdit* field = edit("phoTxtHorzAngle");
    field->setFocus();
    QTest::keyClicks(field, "30");
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_TRUE(form_->isVisible());  // Enter inserted; it did not hand back and close
    EXPECT_EQ(form_->state().horAngles, (OneBased<float>{0, 30, 90}));
    auto* grid = child<QTableView>("phoGridHorz");
    grid->setFocus();
    QTest::keyClick(grid, Qt::Key_Delete);  // the inserted column is the current one
    EXPECT_EQ(form_->state().horAngles, (OneBased<float>{0, 90}));
}

// A lamp edit rescales from the record: after a reshape it must scale the new table, not
// bring back the old one.
TEST_F(Reshape, LampEditsScaleTheReshapedTable) {
    start(smallRecord(), "ChangesCandelaValues");
    type("phoTxtVertAngle", "22.5");
    child<QPushButton>("phoCmdInsertVert")->click();
    type("txtNumLamps", "4");
    EXPECT_EQ(cell("cdaGridCd", 1, 1), "230.00");
    EXPECT_TRUE(prompter_.calls().empty());
}

TEST_F(Reshape, DialogShowsTheOutcomeAndOkAppliesIt) {
    start(smallRecord());
    bool checked = false;
    QTimer::singleShot(0, [&] {
        dlgReshape* d = form_->reshapeDialog();
        ASSERT_NE(d, nullptr);
        EXPECT_EQ(d->labSymmetryNow->text().toStdString(),
                  "Symmetric in all four quadrants within 1 % of the peak; the data hold 0 to 90 "
                  "(one quadrant).");
        d->optResample->setChecked(true);
        EXPECT_EQ(d->labOutcome->text().toStdString(), std::string(reshape_text::kNoStep));
        EXPECT_FALSE(d->OKButton->isEnabled());
        d->txtHorzStep->setText("30");
        EXPECT_EQ(d->labHorzCount->text(), QStringLiteral("2 \u2192 4"));
        // To a total flux: twice the flux the candela tab shows doubles every value.
        const double flux = *webFlux(*webOf(form_->state()).web, 1);
        EXPECT_EQ(d->labFluxNow->text().toStdString(), "now " + formatFigure(flux) + " lm");
        d->optScaleFlux->setChecked(true);
        d->txtFlux->setText(QString::number(2 * flux, 'g', 17));
        ASSERT_TRUE(d->outcome());
        EXPECT_EQ(d->outcome().web->candela(2, 3), 460.0);
        d->optSymmetrise->setChecked(true);
        d->cmbSymmetry->setCurrentIndex(3);  // rotational
        EXPECT_EQ(d->labHorzCount->text(), QStringLiteral("2 \u2192 1"));
        EXPECT_EQ(d->labSymmetryAfter->text().toStdString(),
                  "Rotationally symmetric within 1 % of the peak; the data hold one plane "
                  "(rotational).");
        checked = true;
        d->OKButton->click();
    });
    form_->phoCmdReshape_Click();
    ASSERT_TRUE(checked);
    EXPECT_EQ(text("phoTxtHorz"), "1");
    EXPECT_EQ(cell("cdaGridCd", 0, 1), "160.00");  // 110 and 210 averaged
    EXPECT_EQ(form_->record().HorAngles, (OneBased<float>{0}));
    EXPECT_TRUE(form_->hasUnsavedEdits());

    // Cancel changes nothing; Undo goes back to the record as it arrived.
    QTimer::singleShot(0, [&] { form_->reshapeDialog()->CancelButton->click(); });
    form_->phoCmdReshape_Click();
    EXPECT_EQ(form_->state().numHorz, 1);
    form_->cmdUndo_Click();
    EXPECT_EQ(text("phoTxtHorz"), "2");
    EXPECT_EQ(form_->record().HorAngles, (OneBased<float>{0, 90}));
    EXPECT_FALSE(form_->hasUnsavedEdits());
}

// Screenshots for docs/; run with
//   KANDOR_SHOTS_DIR=docs build/bin/reshape_test --gtest_also_run_disabled_tests
TEST_F(Reshape, DISABLED_Screenshots) {
    const std::string name = "eulumdat-rs-aec-italo-181x73.ies";
    std::ifstream in(std::string(KANDOR_CORPUS_DIR) + "/" + name, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(in), {});
    IesRecord r;
    IesReader().ParseIes(r, normaliseLineEnds(text), false, "");
    r.Filename = "/photometry/" + name;
    start(r);
    form_->resize(1100, 760);
    form_->findChild<QTabWidget*>("SSTab1")->setCurrentIndex(2);
    select(child<QTableView>("phoGridVert"), 3);
    type("phoTxtHorzAngle", "7.5");
    QApplication::processEvents();
    const QString dir = qEnvironmentVariable("KANDOR_SHOTS_DIR", QStringLiteral("docs"));
    EXPECT_TRUE(form_->grab().save(dir + "/tab-angles-insert-remove.png"));

    dlgReshape dialog(form_.get());
    dialog.setWeb(*webOf(form_->state()).web);
    dialog.optSymmetrise->setChecked(true);
    dialog.cmbSymmetry->setCurrentIndex(1);  // C0-C180, as the data are
    dialog.setMultiplier(r.OtherData.multiplier);
    dialog.show();
    QApplication::processEvents();
    EXPECT_TRUE(dialog.grab().save(dir + "/reshape-symmetrise.png"));
    dialog.optResample->setChecked(true);
    dialog.txtVertStep->setText("5");
    dialog.txtHorzStep->setText("7");
    QApplication::processEvents();
    EXPECT_TRUE(dialog.grab().save(dir + "/reshape-refused-step.png"));
    dialog.hide();
}

}  // namespace
}  // namespace kandor::testing
