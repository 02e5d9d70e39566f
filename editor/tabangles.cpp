// The photometric angles tab: the vertical and horizontal angles of the measurement web.

#include <functional>

#include <QApplication>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QStyle>
#include <QTableView>
#include <QVBoxLayout>

#include "core/gridedit.h"
#include "core/photometry.h"
#include "core/webops.h"
#include "dialogs/dlgreshape.h"
#include "editor/frmedit.h"
#include "editor/gridmodels.h"

namespace kandor {

namespace {

QTableView* angleRow(const char* name, AngleRowModel* model) {
    auto* view = new QTableView;
    view->setObjectName(name);
    view->setModel(model);
    view->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    view->horizontalHeader()->setDefaultSectionSize(
        view->fontMetrics().horizontalAdvance("-180.00") + 16);
    view->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    const int row = view->fontMetrics().height() + 8;
    view->verticalHeader()->setDefaultSectionSize(row);
    // One row: header, the row and the scroll bar, nothing more. The header has no sections
    // yet, so its height comes from the font rather than from its size hint.
    const int header = view->fontMetrics().height() + 10;
    view->horizontalHeader()->setFixedHeight(header);
    const int scrollBar = view->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, view);
    view->setFixedHeight(header + row + scrollBar + 2 * view->frameWidth() + 2);
    return view;
}

QLineEdit* countField(const char* name, const QString& tip) {
    auto* edit = new QLineEdit;
    edit->setObjectName(name);
    edit->setReadOnly(true);
    edit->setToolTip(tip);
    edit->setAlignment(Qt::AlignRight);
    edit->setMaximumWidth(80);
    return edit;
}

// The keys of the angle actions: Insert and Delete on a grid insert after and remove its
// current column, Enter in an angle field inserts the typed angle (rather than pressing OK).
class AngleKeys final : public QObject {
  public:
    AngleKeys(QObject* parent, std::function<void()> insert, std::function<void()> remove)
        : QObject(parent), insert_(std::move(insert)), remove_(std::move(remove)) {}

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::KeyPress) return QObject::eventFilter(watched, event);
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool field = qobject_cast<QLineEdit*>(watched) != nullptr;
        // A key a cell editor passed on is that editor's, not the grid's.
        if (auto* grid = qobject_cast<QTableView*>(watched);
            grid && grid->viewport()->isAncestorOf(QApplication::focusWidget()))
            return QObject::eventFilter(watched, event);
        if (field ? key == Qt::Key_Return || key == Qt::Key_Enter : key == Qt::Key_Insert) {
            insert_();
            return true;
        }
        if (!field && key == Qt::Key_Delete) {
            remove_();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    std::function<void()> insert_;
    std::function<void()> remove_;
};

}  // namespace

QWidget* frmEdit::buildAnglesTab() {
    auto* page = new QWidget;
    Label4 = new QLabel;
    Label4->setObjectName("Label4");
    QFont bold = Label4->font();
    bold.setBold(true);
    Label4->setFont(bold);

    phoTxtVert = countField("phoTxtVert", tr("Number of vertical angles"));
    phoTxtHorz = countField("phoTxtHorz", tr("Number of horizontal angles"));
    vertModel_ = new AngleRowModel(state_, true, this);
    horzModel_ = new AngleRowModel(state_, false, this);
    phoGridVert = angleRow("phoGridVert", vertModel_);
    phoGridHorz = angleRow("phoGridHorz", horzModel_);

    // Each axis: its count, its grid, and a row to insert or remove one of its angles.
    auto axisBox = [this](bool vertical) {
        // Titled by the photometric type when a record is shown.
        auto* box = new QGroupBox;
        box->setObjectName(vertical ? "phoFraVert" : "phoFraHorz");
        auto* form = new QFormLayout;
        form->addRow(tr("Count:"), vertical ? phoTxtVert : phoTxtHorz);
        auto* field = new QLineEdit;
        field->setObjectName(vertical ? "phoTxtVertAngle" : "phoTxtHorzAngle");
        field->setPlaceholderText(tr("selected column"));
        field->setToolTip(
            tr("An angle to insert or remove; left empty, Insert goes midway after "
               "the selected column and Remove takes that column"));
        field->setMaximumWidth(120);
        auto* label = new QLabel(vertical ? tr("&Vertical angle:") : tr("Hori&zontal angle:"));
        label->setObjectName(vertical ? "phoLabVertAngle" : "phoLabHorzAngle");
        label->setBuddy(field);
        auto* insert = new QPushButton(tr("Insert"));
        insert->setObjectName(vertical ? "phoCmdInsertVert" : "phoCmdInsertHorz");
        insert->setToolTip(
            tr("Insert the angle, its candela values interpolated from its "
               "neighbours (Insert key on the grid)"));
        auto* remove = new QPushButton(tr("Remove"));
        remove->setObjectName(vertical ? "phoCmdRemoveVert" : "phoCmdRemoveHorz");
        remove->setToolTip(tr("Remove the angle and its candela values (Delete key on the grid)"));
        for (QPushButton* b : {insert, remove})
            b->setAutoDefault(false);
        connect(insert, &QPushButton::clicked, this,
                [this, vertical] { phoCmdInsert_Click(vertical); });
        connect(remove, &QPushButton::clicked, this,
                [this, vertical] { phoCmdRemove_Click(vertical); });
        auto* keys = new AngleKeys(
            this, [this, vertical] { phoCmdInsert_Click(vertical); },
            [this, vertical] { phoCmdRemove_Click(vertical); });
        QTableView* grid = vertical ? phoGridVert : phoGridHorz;
        grid->installEventFilter(keys);
        field->installEventFilter(keys);
        auto* actions = new QHBoxLayout;
        actions->addWidget(label);
        actions->addWidget(field);
        actions->addWidget(insert);
        actions->addWidget(remove);
        actions->addStretch(1);
        auto* layout = new QVBoxLayout(box);
        layout->addLayout(form);
        layout->addWidget(grid);
        layout->addLayout(actions);
        QWidget::setTabOrder(grid, field);
        QWidget::setTabOrder(field, insert);
        QWidget::setTabOrder(insert, remove);
        (vertical ? phoTxtVertAngle : phoTxtHorzAngle) = field;
        (vertical ? phoCmdInsertVert : phoCmdInsertHorz) = insert;
        (vertical ? phoCmdRemoveVert : phoCmdRemoveHorz) = remove;
        return box;
    };
    auto* vertBox = axisBox(true);
    auto* horzBox = axisBox(false);

    phoCmdReshape = new QPushButton(tr("R&eshape..."));
    phoCmdReshape->setObjectName("phoCmdReshape");
    phoCmdReshape->setAutoDefault(false);
    phoCmdReshape->setToolTip(
        tr("Resample, symmetrise or expand, rotate or mirror the planes, "
           "make the nadir values equal or scale the values"));
    connect(phoCmdReshape, &QPushButton::clicked, this, [this] { phoCmdReshape_Click(); });
    auto* reshapeRow = new QHBoxLayout;
    reshapeRow->addWidget(phoCmdReshape);
    reshapeRow->addStretch(1);

    auto* layout = new QVBoxLayout(page);
    layout->addWidget(Label4);
    layout->addWidget(vertBox);
    layout->addWidget(horzBox);
    layout->addLayout(reshapeRow);
    layout->addStretch(1);

    vertModel_->setWriteHook([this](const QModelIndex& index, const QString& text) {
        return phoGridVert_Write(index.column(), text);
    });
    horzModel_->setWriteHook([this](const QModelIndex& index, const QString& text) {
        return phoGridHorz_Write(index.column(), text);
    });
    return page;
}

void frmEdit::showAngles() {
    Label4->setText(QString::fromStdString(state_.label4));
    // The angle systems' own names, as the candela grid, the plot and the help use them.
    for (bool vertical : {true, false}) {
        QString name =
            QString::fromStdString(std::string(angleAxisName(state_.photometricType, vertical)));
        name[0] = name[0].toUpper();
        findChild<QGroupBox*>(vertical ? "phoFraVert" : "phoFraHorz")
            ->setTitle(name + tr(", degrees"));
    }
    phoTxtVert->setText(QString::number(state_.numVert));
    phoTxtHorz->setText(QString::number(state_.numHorz));
    vertModel_->reload();
    horzModel_->reload();
}

namespace {

// The record's element that a grid column shows: the editor holds every type but C with the
// vertical angles highest first, so an edit reaches the record at the mirrored index.
int recordVertIndex(const IesRecord& record, int shown) {
    const int n = record.VertAngles.ubound();
    return record.OtherData.photometricType != 1 ? n - shown + 1 : shown;
}

}  // namespace

bool frmEdit::phoGridVert_Write(int column, const QString& text) {
    const int i = column + 1;
    if (!state_.dataShown || i < 1 || i > state_.vertAngles.ubound()) return false;
    const CellEntry entry = vertAngleEntry(text.toStdString());
    if (!entry.value) {
        ctx_.prompter.tell(std::string(entry.message), std::string(entry.title));
        return false;
    }
    state_.vertAngles(i) = *entry.value;
    IesRecord& r = record();
    if (const int ri = recordVertIndex(r, i); ri >= 1 && ri <= r.VertAngles.ubound())
        r.VertAngles(ri) = *entry.value;
    candelaModel_->verticalAngleChanged(i);
    redrawPlot();
    return true;
}

bool frmEdit::phoGridHorz_Write(int column, const QString& text) {
    const int i = column + 1;
    if (!state_.dataShown || i < 1 || i > state_.horAngles.ubound()) return false;
    const CellEntry entry = horzAngleEntry(text.toStdString());
    if (!entry.value) {
        ctx_.prompter.tell(std::string(entry.message), std::string(entry.title));
        return false;
    }
    state_.horAngles(i) = *entry.value;
    IesRecord& r = record();
    if (i <= r.HorAngles.ubound()) r.HorAngles(i) = *entry.value;
    candelaModel_->horizontalAngleChanged(i);
    redrawPlot();
    return true;
}

// ---- Reshaping the web ----

namespace {

int currentColumn(const QTableView* grid) {
    const QModelIndex index = grid->currentIndex();
    return index.isValid() ? index.column() : -1;
}

// The web as it stands, or nothing after telling the user why it cannot be reshaped.
std::optional<Web> webOrTell(const EditorState& state, Prompter& prompter) {
    WebResult current = webOf(state);
    if (!current) prompter.tell(current.refusal);
    return std::move(current.web);
}

// An angle typed beside the grid: absent when the field is empty, the grid's message told
// when it is no angle.
struct TypedAngle {
    bool given = false;
    std::optional<float> value;
};

TypedAngle typedAngle(const QLineEdit* field, bool vertical, Prompter& prompter) {
    const std::string typed = field->text().trimmed().toStdString();
    if (typed.empty()) return {};
    const CellEntry entry = vertical ? vertAngleEntry(typed) : horzAngleEntry(typed);
    if (!entry.value) prompter.tell(std::string(entry.message), std::string(entry.title));
    return {true, entry.value};
}

}  // namespace

bool frmEdit::phoCmdInsert_Click(bool vertical) {
    if (!state_.dataShown) return false;
    const std::optional<Web> current = webOrTell(state_, ctx_.prompter);
    if (!current) return false;
    const Axis axis = vertical ? Axis::kVertical : Axis::kHorizontal;
    QLineEdit* field = vertical ? phoTxtVertAngle : phoTxtHorzAngle;
    const TypedAngle typed = typedAngle(field, vertical, ctx_.prompter);
    double angle = 0;
    if (typed.given) {
        if (!typed.value) return false;
        angle = *typed.value;
    } else {
        // Midway between the selected column and the next (the one before, for the last).
        const OneBased<float>& angles = vertical ? state_.vertAngles : state_.horAngles;
        const int column = currentColumn(vertical ? phoGridVert : phoGridHorz);
        if (column < 0 || angles.ubound() < 2) {
            ctx_.prompter.tell(std::string(reshape_text::kTypeOrSelect));
            return false;
        }
        const int i = column + 1;
        const int j = i < angles.ubound() ? i + 1 : i - 1;
        angle = (static_cast<double>(angles(i)) + angles(j)) / 2;
    }
    WebResult done = insertAngle(*current, axis, angle);
    if (!done) {
        ctx_.prompter.tell(done.refusal);
        return false;
    }
    const AngleAt at = angleIndex(*done.web, axis, angle);
    applyWeb(std::move(*done.web));
    field->clear();
    if (at.index) {
        QTableView* grid = vertical ? phoGridVert : phoGridHorz;
        grid->setCurrentIndex(grid->model()->index(0, *at.index - 1));
    }
    return true;
}

bool frmEdit::phoCmdRemove_Click(bool vertical) {
    if (!state_.dataShown) return false;
    const std::optional<Web> current = webOrTell(state_, ctx_.prompter);
    if (!current) return false;
    const Axis axis = vertical ? Axis::kVertical : Axis::kHorizontal;
    QLineEdit* field = vertical ? phoTxtVertAngle : phoTxtHorzAngle;
    QTableView* grid = vertical ? phoGridVert : phoGridHorz;
    const TypedAngle typed = typedAngle(field, vertical, ctx_.prompter);
    int index = currentColumn(grid) + 1;
    if (typed.given) {
        if (!typed.value) return false;
        const AngleAt at = angleIndex(*current, axis, *typed.value);
        if (!at.index) {
            ctx_.prompter.tell(at.refusal);
            return false;
        }
        index = *at.index;
    } else if (index < 1) {
        ctx_.prompter.tell(std::string(reshape_text::kTypeOrSelect));
        return false;
    }
    WebResult done = removeAngle(*current, axis, index);
    if (!done) {
        ctx_.prompter.tell(done.refusal);
        return false;
    }
    const int remaining = vertical ? done.web->numVert() : done.web->numHorz();
    applyWeb(std::move(*done.web));
    field->clear();
    grid->setCurrentIndex(grid->model()->index(0, std::min(index, remaining) - 1));
    return true;
}

void frmEdit::phoCmdReshape_Click() {
    if (!state_.dataShown) return;
    std::optional<Web> current = webOrTell(state_, ctx_.prompter);
    if (!current) return;
    if (!reshape_) reshape_ = new dlgReshape(this);
    reshape_->setWeb(std::move(*current));
    // The flux is the one the candela tab shows: with the multiplier as typed.
    reshape_->setMultiplier(lampFieldValue(txtMultiplier->text().toStdString()));
    if (reshape_->exec() != QDialog::Accepted || !reshape_->outcome()) return;
    applyWeb(*reshape_->outcome().web);
}

void frmEdit::applyWeb(Web web) {
    putWeb(std::move(web), state_);
    // The record's web follows at once, as a typed angle does: the lamp tab rescales from the
    // record, and the candela grid shades what differs from it.
    if (!ctx_.list.empty()) saveWeb(state_, record());
    showAngles();
    showCandela();
}

}  // namespace kandor
