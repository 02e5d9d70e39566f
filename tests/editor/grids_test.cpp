// The angle grids and the candela grid: their reads and writes with the exact messages, copy
// and paste through the clipboard byte for byte, the shading and the plot they keep current,
// and the three models under QAbstractItemModelTester.

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QTabWidget>
#include <QTest>
#include <functional>

#include "editor/frozentable.h"
#include "editor/gridmodels.h"
#include "editor/plotcd.h"
#include "editorfixture.h"

namespace kandor::testing {
namespace {

using Grids = EditorFixture;

TEST_F(Grids, AngleGridsAreAsymmetricOnPurpose) {
    start(smallRecord());
    EXPECT_FALSE(write("phoGridVert", 0, 1, "abc"));
    EXPECT_FALSE(write("phoGridHorz", 0, 1, "abc"));
    EXPECT_EQ(messages(),
              (std::vector<std::string>{"Not a number I know!", "Not a number I know."}));
    EXPECT_EQ(prompter_.last().buttons, PromptButtons::Ok);
    EXPECT_EQ(cell("phoGridVert", 0, 1), "45");  // the old value shows again

    // A read past the last angle: a blank from the vertical grid, nothing from the other.
    auto* vert = qobject_cast<AngleRowModel*>(model("phoGridVert"));
    auto* horz = qobject_cast<AngleRowModel*>(model("phoGridHorz"));
    ASSERT_TRUE(vert && horz);
    EXPECT_EQ(vert->unboundRead(3), QVariant(QStringLiteral(" ")));
    EXPECT_EQ(vert->unboundRead(2).toString(), "90");
    EXPECT_FALSE(horz->unboundRead(2).isValid());
    EXPECT_FALSE(horz->unboundRead(-1).isValid());
}

TEST_F(Grids, AnEditedAngleReachesTheRecordAtOnce) {
    start(smallRecord());
    EXPECT_TRUE(write("phoGridVert", 0, 2, "22.5"));
    EXPECT_EQ(form_->record().VertAngles(3), 22.5f);
    EXPECT_EQ(cell("phoGridVert", 0, 2), "22.5");
    EXPECT_EQ(cell("cdaGridCd", 2, 0), "22.5");  // the candela grid's angle column
    // Angles are not held in order here; the candela values stay with their index.
    EXPECT_EQ(cell("cdaGridCd", 2, 1), "130.00");

    QAbstractItemModel* candela = model("cdaGridCd");
    EXPECT_EQ(candela->headerData(2, Qt::Horizontal).toString(), "90\u00B0");
    EXPECT_TRUE(write("phoGridHorz", 0, 1, "180"));
    EXPECT_EQ(form_->record().HorAngles(2), 180.0f);
    EXPECT_EQ(candela->headerData(2, Qt::Horizontal).toString(), "180\u00B0");
}

TEST_F(Grids, TypeBAngleEditsReachTheRecordsOwnIndex) {
    start(smallRecord(2));
    EXPECT_EQ(cell("phoGridVert", 0, 0), "90");  // highest first
    EXPECT_TRUE(write("phoGridVert", 0, 0, "85"));
    EXPECT_EQ(form_->record().VertAngles(3), 85.0f);
    EXPECT_EQ(form_->record().VertAngles(1), -90.0f);
}

TEST_F(Grids, NothingShowsBeforeARecordIsFilledIn) {
    list_.add(smallRecord());
    EditorContext context{store_, state_, list_, prompter_, help_, {}, [] {}, 0};
    form_ = std::make_unique<frmEdit>(context);
    for (const char* grid : {"phoGridVert", "phoGridHorz", "cdaGridCd"}) {
        QAbstractItemModel* m = model(grid);
        for (int c = 0; c < m->columnCount(); ++c)
            EXPECT_FALSE(m->data(m->index(0, c), Qt::DisplayRole).isValid()) << grid;
    }
    EXPECT_FALSE(qobject_cast<AngleRowModel*>(model("phoGridVert"))->unboundRead(0).isValid());
}

TEST_F(Grids, CandelaEntriesAreCheckedInOrder) {
    start(smallRecord());
    struct Case {
        const char* typed;
        bool taken;
        std::string message;
        std::string title;
        std::string shown;
    } cases[] = {
        {"12a", false, "Not a number I know.", "Invalid entry", "110.00"},
        {"-0.5", false, "Candela values cannot be negative!", "", "110.00"},
        {"9999999", false, "Candela values must be less than 10 million.", "", "110.00"},
        {"9999998.5", true, "", "", "9999998.00"},  // a 32-bit float holds no half there
        {"12.345", true, "", "", "12.35"},
    };
    for (const Case& c : cases) {
        prompter_.reset();
        EXPECT_EQ(write("cdaGridCd", 0, 1, c.typed), c.taken) << c.typed;
        if (c.taken) {
            EXPECT_TRUE(prompter_.calls().empty()) << c.typed;
        } else {
            ASSERT_EQ(prompter_.calls().size(), 1u) << c.typed;
            EXPECT_EQ(prompter_.last().text, c.message);
            EXPECT_EQ(prompter_.last().title, c.title);
            EXPECT_EQ(prompter_.last().buttons, PromptButtons::Ok);
        }
        EXPECT_EQ(cell("cdaGridCd", 0, 1), c.shown) << c.typed;
    }
}

TEST_F(Grids, AnEntryKeepsTheMaximumTheShadingAndThePlotCurrent) {
    start(smallRecord());
    auto* plot = child<plotCD>("picCda");
    EXPECT_EQ(form_->state().maxCandela, 230.0);
    EXPECT_FALSE(shaded("cdaGridCd", 1, 2));
    EXPECT_TRUE(write("cdaGridCd", 1, 2, "500"));
    EXPECT_EQ(form_->state().maxCandela, 500.0);
    EXPECT_TRUE(shaded("cdaGridCd", 1, 2));
    EXPECT_FALSE(shaded("cdaGridCd", 1, 1));
    EXPECT_DOUBLE_EQ(plot->plot().peak, 500.0);
    // Lowering the peak itself finds the next one.
    EXPECT_TRUE(write("cdaGridCd", 1, 2, "1"));
    EXPECT_EQ(form_->state().maxCandela, 230.0);
    EXPECT_DOUBLE_EQ(plot->plot().peak, 230.0);
    // The peak cell stands out.
    EXPECT_TRUE(cellData("cdaGridCd", 2, 2, Qt::FontRole).value<QFont>().bold());
    EXPECT_FALSE(cellData("cdaGridCd", 2, 1, Qt::FontRole).isValid());
}

TEST_F(Grids, ReadsBeyondTheTableGiveNothing) {
    start(smallRecord());
    QAbstractItemModel* m = model("cdaGridCd");
    EXPECT_EQ(m->rowCount(), 3);
    EXPECT_EQ(m->columnCount(), 3);
    EXPECT_FALSE(m->data(m->index(3, 1), Qt::DisplayRole).isValid());
    EXPECT_EQ(cell("cdaGridCd", 1, 0), "45");
}

TEST_F(Grids, TheAngleColumnStaysWhileTheValuesScrollAndTheCurrentCellIsReadOut) {
    IesRecord r = smallRecord();
    r.resizeGrid(60, 40);
    for (int v = 1; v <= 60; ++v)
        r.VertAngles(v) = 1.5f * static_cast<float>(v - 1);
    for (int h = 1; h <= 40; ++h)
        r.HorAngles(h) = 5.0f * static_cast<float>(h - 1);
    r.Candela(8, 16) = 868.88;
    r.Candela(9, 17) = 1170;
    start(r);
    form_->resize(900, 600);
    child<QTabWidget>("SSTab1")->setCurrentIndex(3);
    auto* grid = child<FrozenColumnTableView>("cdaGridCd");
    QTableView* frozen = grid->frozenView();
    grid->horizontalScrollBar()->setValue(grid->horizontalScrollBar()->maximum());
    grid->verticalScrollBar()->setValue(grid->verticalScrollBar()->maximum() / 2);
    QApplication::processEvents();
    ASSERT_GT(grid->horizontalScrollBar()->maximum(), 0);
    EXPECT_EQ(frozen->geometry().left(), grid->frameWidth());
    EXPECT_EQ(frozen->columnWidth(0), grid->columnWidth(0));
    EXPECT_TRUE(frozen->isColumnHidden(1));
    EXPECT_TRUE(frozen->isColumnHidden(39));
    EXPECT_EQ(frozen->verticalScrollBar()->value(), grid->verticalScrollBar()->value());
    const int row = grid->rowAt(grid->viewport()->height() / 2);
    EXPECT_EQ(frozen->visualRect(frozen->model()->index(row, 0)).top(),
              grid->visualRect(grid->model()->index(row, 39)).top());
    EXPECT_EQ(grid->model()->headerData(0, Qt::Horizontal).toString(), "\u03B3 \u2193  C \u2192");

    // The current cell in full, with what the multiplier makes of it.
    type("txtMultiplier", "1.875");
    grid->setCurrentIndex(grid->model()->index(15, 8));
    EXPECT_EQ(child<QLabel>("cdaLabCell")->text(),
              "C 35\u00B0 \u03B3 22.5\u00B0: 868.88 (x 1.875 = 1629 cd)");

    // Ctrl+C copies the selection, holes left empty; Copy Table still the whole table.
    grid->clearSelection();
    grid->selectionModel()->select(grid->model()->index(15, 8), QItemSelectionModel::Select);
    grid->selectionModel()->select(grid->model()->index(16, 9), QItemSelectionModel::Select);
    QTest::keySequence(grid, QKeySequence::Copy);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "868.88\t\r\n\t1170\r\n");
    child<QPushButton>("cmdCopy")->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text().count("\r\n"), 60);
}

TEST_F(Grids, CopyAndPasteByteForByte) {
    IesRecord r = smallRecord();
    r.Candela(1, 2) = 0.125;
    r.Candela(2, 3) = 1234.5;
    start(r);
    child<QPushButton>("cmdCopy")->click();
    const std::string copied = QGuiApplication::clipboard()->text().toStdString();
    EXPECT_EQ(copied, "110\t210\r\n0.125\t220\r\n130\t1234.5\r\n");
    EXPECT_EQ(form_->candelaCopyText(), copied);

    // Pasting it back with or without the last line end changes nothing.
    const OneBased2D<double> before = form_->state().candela;
    EXPECT_TRUE(form_->pasteCandela(copied));
    EXPECT_TRUE(form_->pasteCandela(copied.substr(0, copied.size() - 2)));
    EXPECT_EQ(form_->state().candela, before);

    // A pasted table changes the display array only, shaded, and redraws the plot.
    QGuiApplication::clipboard()->setText("1\t2\r\n3\t4\r\n5\t600\r\n");
    child<QPushButton>("cdaCmdPaste")->click();
    EXPECT_EQ(cell("cdaGridCd", 2, 2), "600.00");
    EXPECT_EQ(form_->record().Candela(2, 3), 1234.5);
    EXPECT_TRUE(shaded("cdaGridCd", 0, 1));
    EXPECT_EQ(form_->state().maxCandela, 600.0);
    EXPECT_DOUBLE_EQ(child<plotCD>("picCda")->plot().peak, 600.0);
    EXPECT_TRUE(prompter_.calls().empty());
}

TEST_F(Grids, APasteThatDoesNotFitChangesNothing) {
    start(smallRecord());
    const OneBased2D<double> before = form_->state().candela;
    struct Case {
        const char* text;
        std::string message;
        std::string title;
    } cases[] = {
        {"1\t2\t3\t4\t5\r\n", "4 values read; need 5", ""},
        {"1\t2\r\n3\t4\r\n5\t6\r\n7\r\n", "6 values read; need 5", ""},
        {"1\t2\r\n3\tx\r\n5\t6\r\n", "Not a number I know.", "Invalid entry"},
    };
    for (const Case& c : cases) {
        prompter_.reset();
        EXPECT_FALSE(form_->pasteCandela(c.text));
        ASSERT_EQ(prompter_.calls().size(), 1u) << c.text;
        EXPECT_EQ(prompter_.last().text, c.message);
        EXPECT_EQ(prompter_.last().title, c.title);
        EXPECT_EQ(form_->state().candela, before);
    }
}

TEST_F(Grids, ColumnsFitTheLargestValueAndTheTabRedrawsThePlot) {
    start(smallRecord());
    auto* view = child<QTableView>("cdaGridCd");
    EXPECT_EQ(view->horizontalHeader()->defaultSectionSize(),
              static_cast<int>(1.1 * form_->fontMetrics().horizontalAdvance("1000000.00")));
    // A larger font for the form widens the columns with it.
    QFont large = form_->font();
    large.setPointSizeF(large.pointSizeF() * 2);
    form_->setFont(large);
    EXPECT_EQ(view->horizontalHeader()->defaultSectionSize(),
              static_cast<int>(1.1 * form_->fontMetrics().horizontalAdvance("1000000.00")));
    auto* plot = child<plotCD>("picCda");
    plot->clear();
    EXPECT_TRUE(plot->plot().curves.empty());
    child<QTabWidget>("SSTab1")->setCurrentIndex(3);
    EXPECT_EQ(plot->plot().curves.size(), 2u);
}

// A message box that takes the focus from the cell editor, which commits its text again.
class RecommittingPrompter final : public Prompter {
  public:
    std::function<void()> focusOut;
    int shown = 0;
    PromptAnswer ask(const std::string&, const std::string&, PromptButtons) override {
        ++shown;
        if (focusOut) focusOut();
        return PromptAnswer::Ok;
    }
};

TEST_F(Grids, ARefusalIsShownOnceThoughTheEditorCommitsAgain) {
    list_.add(smallRecord());
    RecommittingPrompter prompter;
    EditorContext context{store_, state_, list_, prompter, help_, {}, [] {}, 0};
    form_ = std::make_unique<frmEdit>(context);
    form_->loadForm();
    form_->loadData();
    for (const char* grid : {"cdaGridCd", "phoGridVert", "phoGridHorz"}) {
        prompter.shown = 0;
        prompter.focusOut = [this, grid] { write(grid, 0, 1, "abc"); };
        EXPECT_FALSE(write(grid, 0, 1, "abc"));
        EXPECT_EQ(prompter.shown, 1) << grid;
        // The next edit is taken as usual.
        prompter.focusOut = nullptr;
        EXPECT_TRUE(write(grid, 0, 1, "12")) << grid;
    }
}

TEST_F(Grids, ModelsPassTheModelTester) {
    start(smallRecord(2));
    std::vector<std::unique_ptr<QAbstractItemModelTester>> testers;
    for (const char* grid : {"phoGridVert", "phoGridHorz", "cdaGridCd", "lmpGridTiltMultiplier"})
        testers.push_back(std::make_unique<QAbstractItemModelTester>(
            model(grid), QAbstractItemModelTester::FailureReportingMode::Fatal));
    // Every kind of change the form makes while the testers watch.
    child<QCheckBox>("tltChkTilt")->click();
    type("lmpTxtNumAngles", "4");
    write("lmpGridTiltMultiplier", 3, 1, "0.5");
    write("phoGridHorz", 0, 0, "-85");
    write("phoGridVert", 0, 1, "5");
    write("cdaGridCd", 2, 1, "900");
    form_->pasteCandela("1\t2\r\n3\t4\r\n5\t6\r\n");
    form_->fillFromRecord();
    EXPECT_EQ(model("lmpGridTiltMultiplier")->rowCount(), 0);
}

}  // namespace
}  // namespace kandor::testing
