// The lamp and tilt tab as a user drives it: what a lamp edit does to the multiplier or the
// candela values under each "ChangingLamp" setting, the fields the program writes itself, the
// focus selection, the tilt controls and the shape sketch.

#include <QCheckBox>
#include <QComboBox>
#include <QFocusEvent>
#include <QFrame>
#include <QLabel>

#include "core/shapes.h"
#include "editor/plotcd.h"
#include "editor/shapesketch.h"
#include "editorfixture.h"

namespace kandor::testing {
namespace {

using LampTab = EditorFixture;

TEST_F(LampTab, LampEditsScaleTheMultiplierAlwaysFromTheRecord) {
    start(smallRecord(), "ChangesCandelaMultiplier");
    const OneBased2D<double> candela = form_->state().candela;
    type("txtNumLamps", "4");
    EXPECT_EQ(text("txtMultiplier"), "2.00000");
    type("txtNumLamps", "2");
    EXPECT_EQ(text("txtMultiplier"), "1.00000");
    // 2.5 lamps pass the whole-number test and the routine uses 2.5 itself.
    type("txtNumLamps", "2.5");
    EXPECT_EQ(text("txtMultiplier"), "1.25000");
    // A multiplier typed under this setting changes nothing else.
    type("txtMultiplier", "7");
    EXPECT_EQ(form_->state().candela, candela);
    EXPECT_EQ(form_->record().OtherData.multiplier, 1.0f);  // the record waits for a save
    EXPECT_TRUE(prompter_.calls().empty());
}

TEST_F(LampTab, ValuesKeepTheAbsoluteIntensityAndAreShaded) {
    IesRecord r = smallRecord();
    r.OtherData.multiplier = 2;
    start(r, "ChangesCandelaValues");
    const double peakBefore = child<plotCD>("picCda")->plot().peak;
    type("txtMultiplier", "4");
    EXPECT_EQ(cell("cdaGridCd", 0, 1), "55.00");
    EXPECT_EQ(cell("cdaGridCd", 2, 2), "115.00");
    // Rescaled cells hold their text; copy writes it as it stands, a typed cell as typed.
    EXPECT_TRUE(form_->candelaCopyText().starts_with("55.00\t105.00\r\n"));
    EXPECT_TRUE(write("cdaGridCd", 0, 2, "105.5"));
    EXPECT_TRUE(form_->candelaCopyText().starts_with("55.00\t105.5\r\n"));
    EXPECT_EQ(form_->state().maxCandela, 115.0);
    EXPECT_TRUE(shaded("cdaGridCd", 0, 1));
    // Values times the multiplier shown: the plot is the same distribution.
    EXPECT_DOUBLE_EQ(child<plotCD>("picCda")->plot().peak, peakBefore);
    // A lamp edit scales the values too; the multiplier stays as typed.
    type("txtNumLamps", "4");
    EXPECT_EQ(cell("cdaGridCd", 0, 1), "220.00");
    EXPECT_EQ(text("txtMultiplier"), "4");
    // Back to the record's own numbers: nothing is shaded any more.
    type("txtNumLamps", "2");
    type("txtMultiplier", "2");
    EXPECT_EQ(cell("cdaGridCd", 0, 1), "110.00");
    EXPECT_FALSE(shaded("cdaGridCd", 0, 1));
}

TEST_F(LampTab, TypeBValuesAreRescaledInTheGridsOrder) {
    start(smallRecord(2), "ChangesCandelaValues");
    // The grid shows Type B highest angle first: row 0 is the record's last vertical angle.
    EXPECT_EQ(cell("cdaGridCd", 0, 0), "90");
    EXPECT_EQ(cell("cdaGridCd", 0, 1), "130.00");
    type("txtMultiplier", "2");
    EXPECT_EQ(cell("cdaGridCd", 0, 1), "65.00");
    EXPECT_EQ(cell("cdaGridCd", 2, 2), "105.00");
}

TEST_F(LampTab, EditsThatChangeNothing) {
    struct Case {
        const char* name;
        const char* setting;
        const char* field;
        const char* typed;
    } cases[] = {
        {"no effect, lamps", "ChangesNothing", "txtNumLamps", "4"},
        {"no effect, lumens", "ChangesNothing", "txtLumPerLamp", "3000"},
        {"no effect, multiplier", "ChangesNothing", "txtMultiplier", "3"},
        {"empty multiplier", "ChangesCandelaValues", "txtMultiplier", ""},
        {"lamps emptied", "ChangesCandelaValues", "txtNumLamps", ""},
        {"lamps a letter", "ChangesCandelaValues", "txtNumLamps", "x"},
        {"lamps beyond 16 bits", "ChangesCandelaValues", "txtNumLamps", "40000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        form_.reset();
        list_.clear();
        prompter_.reset();
        start(smallRecord(), c.setting);
        const OneBased2D<double> candela = form_->state().candela;
        const QString multiplier = text("txtMultiplier");
        type(c.field, c.typed);
        EXPECT_EQ(form_->state().candela, candela);
        if (std::string_view(c.field) != "txtMultiplier") {
            EXPECT_EQ(text("txtMultiplier"), multiplier);
        }
        EXPECT_TRUE(prompter_.calls().empty());
    }
}

TEST_F(LampTab, AbsolutePhotometryHasNoFactor) {
    IesRecord r = smallRecord();
    r.OtherData.lumensPerLamp = -1;
    start(r, "ChangesCandelaMultiplier");
    type("txtNumLamps", "4");
    EXPECT_EQ(text("txtMultiplier"), "1");
}

TEST_F(LampTab, AFaultNamesTheStep) {
    IesRecord r = smallRecord();
    r.OtherData.numLamps = 0;
    start(r, "ChangesCandelaMultiplier");
    type("txtNumLamps", "3");
    ASSERT_EQ(prompter_.calls().size(), 1u);
    EXPECT_EQ(prompter_.last().text,
              "Ran out of fingers and toes to count on at not mult : 11Division by zero");
    EXPECT_EQ(prompter_.last().buttons, PromptButtons::Ok);
}

TEST_F(LampTab, TheProgramsOwnWritesDoNotRescale) {
    IesRecord r = smallRecord();
    r.OtherData.numLamps = 4;  // differs from what the form showed before filling
    start(smallRecord(), "ChangesCandelaValues");
    const OneBased2D<double> candela = form_->state().candela;
    // Filling the form again writes every lamp field; none of them rescales.
    form_->record() = r;
    form_->fillFromRecord();
    EXPECT_EQ(text("txtNumLamps"), "4");
    EXPECT_EQ(form_->state().candela, candela);

    // While starting, lumens and multiplier do nothing, the lamp count acts all the same.
    FrmEditTestAccess::startupFlag(*form_) = true;
    type("txtLumPerLamp", "2000");
    type("txtMultiplier", "2");
    EXPECT_EQ(form_->state().candela, candela);
    type("txtNumLamps", "8");  // 8 x 2000 lm against the record's 4 x 1000 lm
    EXPECT_EQ(cell("cdaGridCd", 0, 1), "440.00");
    FrmEditTestAccess::startupFlag(*form_) = false;
    // While busy, nothing reaches the routine.
    FrmEditTestAccess::busyFlag(*form_) = true;
    type("txtNumLamps", "2");
    EXPECT_EQ(cell("cdaGridCd", 0, 1), "440.00");
    FrmEditTestAccess::busyFlag(*form_) = false;
}

TEST_F(LampTab, TypingBeforeAnyRecordArrivedIsHarmless) {
    EditorContext context{store_, state_, list_, prompter_, help_, {}, [] {}, 0};
    form_ = std::make_unique<frmEdit>(context);
    form_->loadForm();
    UserSettings settings;
    settings.changingLamp = "ChangesCandelaValues";
    form_->applySettings(settings);
    type("txtNumLamps", "3");
    type("txtMultiplier", "2");
    type("lmpTxtNumAngles", "2");
    EXPECT_TRUE(prompter_.calls().empty());
}

TEST_F(LampTab, TheEightFieldsSelectTheirWholeTextOnFocus) {
    start(smallRecord());
    for (const char* name : {"txtNumLamps", "txtLumPerLamp", "txtMultiplier", "txtWatt",
                             "txtBallast", "txtWidth", "txtLength", "txtHeight"}) {
        QLineEdit* e = edit(name);
        e->setText("12.5");
        e->setCursorPosition(1);
        QFocusEvent focus(QEvent::FocusIn, Qt::TabFocusReason);
        QApplication::sendEvent(e, &focus);
        EXPECT_EQ(e->selectionStart(), 0) << name;
        EXPECT_EQ(e->selectedText(), "12.5") << name;
    }
}

TEST_F(LampTab, TiltBoxAndTiltCount) {
    start(smallRecord());
    auto* box = child<QCheckBox>("tltChkTilt");
    QWidget* controls[] = {child<QComboBox>("lmpCmbLampToLuminare"), edit("lmpTxtNumAngles"),
                           child<QTableView>("lmpGridTiltMultiplier")};
    EXPECT_FALSE(box->isChecked());
    for (QWidget* w : controls)
        EXPECT_FALSE(w->isEnabled());
    box->click();
    for (QWidget* w : controls)
        EXPECT_TRUE(w->isEnabled());
    // A tilt table is never left without its geometry.
    EXPECT_EQ(child<QComboBox>("lmpCmbLampToLuminare")->currentIndex(), 0);
    EXPECT_TRUE(child<QLabel>("lmpLabTltLampToLum")->isEnabled());
    EXPECT_TRUE(form_->record().TiltIncl);

    type("lmpTxtNumAngles", "3");
    EXPECT_EQ(model("lmpGridTiltMultiplier")->rowCount(), 3);
    EXPECT_EQ(cell("lmpGridTiltMultiplier", 2, 1), "0");
    EXPECT_TRUE(write("lmpGridTiltMultiplier", 1, 0, "22.5"));
    EXPECT_TRUE(write("lmpGridTiltMultiplier", 1, 1, "0.95"));
    EXPECT_EQ(form_->state().tiltAngles(2), 22.5f);
    EXPECT_EQ(form_->state().tiltFactors(2), 0.95f);
    EXPECT_FALSE(write("lmpGridTiltMultiplier", 0, 1, "x"));
    EXPECT_EQ(prompter_.last().text, "Not a number I know.");
    for (const char* refused : {"0", "-2", "abc", ""}) {
        type("lmpTxtNumAngles", refused);
        EXPECT_EQ(model("lmpGridTiltMultiplier")->rowCount(), 3) << refused;
        EXPECT_EQ(form_->state().tiltAngles(2), 22.5f) << refused;
    }

    box->click();
    EXPECT_FALSE(controls[0]->isEnabled());
    EXPECT_FALSE(form_->record().TiltIncl);
}

TEST_F(LampTab, TheHintControlsExist) {
    start(smallRecord());
    for (const char* name : {"Line1", "Line2", "Line3", "Line4"})
        EXPECT_NE(form_->findChild<QFrame*>(name), nullptr) << name;
    EXPECT_EQ(child<QLabel>("labCandelaChange")->text(), "Candela Values Tab Will Reflect Changes");
    EXPECT_NE(form_->findChild<QLabel*>("Label11"), nullptr);
}

TEST_F(LampTab, TheSketchFollowsTheShapeAndA2002ShapeUnderAnOlderRevision) {
    IesRecord r = smallRecord();
    r.Keywords(1) = "IESNA:LM-63-1995";
    start(r);
    auto* sketch = child<ShapeSketch>("lmpPicHousing");
    EXPECT_EQ(sketch->primitives(), shapeSketch(kShapePoint));
    auto* combo = child<QComboBox>("lmpCmbShape");
    combo->setCurrentIndex(1);
    form_->showShape(1, true);
    EXPECT_EQ(sketch->primitives(), shapeSketch(1));

    combo->setCurrentIndex(13);
    form_->showShape(13, true);
    EXPECT_EQ(messages(), std::vector<std::string>{std::string(kMsgNo2002Shapes)});
    EXPECT_EQ(combo->currentIndex(), 13);
    EXPECT_EQ(sketch->primitives(), shapeSketch(kShapePoint));
    EXPECT_FALSE(edit("txtWidth")->isEnabled());
    EXPECT_EQ(text("txtWidth"), "0");
}

}  // namespace
}  // namespace kandor::testing
