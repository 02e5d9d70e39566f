// What the window does for the eye and the hand around the data: findings shown where they
// are, the reader's remarks on the file, the "modified" word, and a window that fits the
// screen and comes back where the user left it.

#include <QAbstractItemModel>
#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QTabWidget>
#include <QTableView>
#include <QTextBlock>
#include <QToolButton>
#include <algorithm>
#include <array>

#include <cstdio>

#include "core/numforms.h"
#include "core/webops.h"
#include "dialogs/dlgwarn.h"
#include "editor/frmedit.h"
#include "editor/keywordedit.h"

namespace kandor {

namespace {

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

constexpr int kKeywordsTab = 0;
constexpr int kLampTab = 1;
constexpr int kAnglesTab = 2;
constexpr int kCandelaTab = 3;

// The fields the check words one by one, in the order of the tab.
constexpr FormField kMarkedFields[] = {
    FormField::kNumLamps, FormField::kLumPerLamp,   FormField::kMultiplier, FormField::kBallast,
    FormField::kWatt,     FormField::kShape,        FormField::kWidth,      FormField::kLength,
    FormField::kHeight,   FormField::kNumTiltAngles};

// The share of the screen's free area that a window without a remembered place takes at most.
constexpr double kScreenShare = 0.9;

const char* const kPlainTip = "kandorPlainTip";

QString poleText(const PoleValues& pole, int planes) {
    const QString name =
        pole.vertAngle == 0 ? frmEdit::tr("Nadir (γ 0°)") : frmEdit::tr("Zenith (γ 180°)");
    return frmEdit::tr("%1 over %2 planes: minimum %3, maximum %4, average %5 cd (file values)")
        .arg(name)
        .arg(planes)
        .arg(qs(generalSingle(static_cast<float>(pole.minimum))),
             qs(generalSingle(static_cast<float>(pole.maximum))),
             qs(generalSingle(static_cast<float>(pole.average))));
}

}  // namespace

// ---- Findings where they are ----

QWidget* frmEdit::fieldWidget(FormField field) const {
    switch (field) {
        case FormField::kNumLamps:
            return txtNumLamps;
        case FormField::kLumPerLamp:
            return txtLumPerLamp;
        case FormField::kMultiplier:
            return txtMultiplier;
        case FormField::kBallast:
            return txtBallast;
        case FormField::kWatt:
            return txtWatt;
        case FormField::kShape:
            return lmpCmbShape;
        case FormField::kWidth:
            return txtWidth;
        case FormField::kLength:
            return txtLength;
        case FormField::kHeight:
            return txtHeight;
        case FormField::kNumTiltAngles:
            return lmpTxtNumAngles;
        case FormField::kTiltTable:
            return lmpGridTiltMultiplier;
        case FormField::kKeywordLine:
            return keyRtb;
        case FormField::kRequiredKeyword:
            return keyLstPos;
        case FormField::kVertAngles:
            return phoGridVert;
        case FormField::kHorzAngles:
            return phoGridHorz;
        case FormField::kCandela:
            return cdaGridCd;
        case FormField::kNone:
            return nullptr;
    }
    return nullptr;
}

void frmEdit::goToFinding(const WarningTarget& target) {
    QWidget* widget = fieldWidget(target.field);
    if (!widget) return;
    auto cell = [](QTableView* view, int row, int column) {
        QAbstractItemModel* m = view->model();
        if (!m || row < 0 || column < 0 || row >= m->rowCount() || column >= m->columnCount())
            return;
        view->setCurrentIndex(m->index(row, column));
        view->scrollTo(m->index(row, column));
    };
    switch (target.field) {
        case FormField::kKeywordLine: {
            SSTab1->setCurrentIndex(kKeywordsTab);
            const QTextBlock block = keyRtb->document()->findBlockByNumber(target.index - 1);
            if (block.isValid()) {
                QTextCursor cursor(block);
                keyRtb->setTextCursor(cursor);
                keyRtb->ensureCursorVisible();
            }
            break;
        }
        case FormField::kRequiredKeyword: {
            SSTab1->setCurrentIndex(kKeywordsTab);
            const auto found = keyLstPos->findItems(qs(target.keyword), Qt::MatchExactly);
            if (!found.isEmpty()) keyLstPos->setCurrentItem(found.front());
            break;
        }
        case FormField::kTiltTable:
            SSTab1->setCurrentIndex(kLampTab);
            cell(lmpGridTiltMultiplier, target.index - 1, target.second - 1);
            break;
        case FormField::kVertAngles:
        case FormField::kHorzAngles:
            SSTab1->setCurrentIndex(kAnglesTab);
            cell(static_cast<QTableView*>(widget), 0, target.index - 1);
            break;
        case FormField::kCandela:
            SSTab1->setCurrentIndex(kCandelaTab);
            cell(cdaGridCd, target.second - 1, target.index);
            break;
        default:
            SSTab1->setCurrentIndex(kLampTab);
            break;
    }
    widget->setFocus(Qt::OtherFocusReason);
    if (auto* edit = qobject_cast<QLineEdit*>(widget)) edit->selectAll();
}

void frmEdit::showWarnings() {
    // The nadir finding shows what the planes hold there, and offers to make them equal.
    const bool nadir = std::any_of(warnTargets_.begin(), warnTargets_.end(),
                                   [](auto& t) { return t.field == FormField::kCandela; });
    QStringList poles;
    if (nadir) {
        if (const WebResult web = webOf(state_))
            for (const PoleValues& pole : poleValues(*web.web))
                poles << poleText(pole, web.web->numHorz());
    }
    if (poles.isEmpty()) {
        warn_->setNote({}, {}, {});
    } else {
        warn_->setNote(poles.join(QLatin1Char('\n')), tr("Make them &equal"), [this] {
            const WebResult web = webOf(state_);
            if (!web) return;
            const WebResult done = equalNadir(*web.web);
            if (!done) {
                ctx_.prompter.tell(done.refusal);
                return;
            }
            applyWeb(*done.web);
            // The list shows what is left to correct.
            warn_->Clear();
            collectState();
            std::vector<WarningTarget> targets;
            try {
                Validate(state_, warnings(), targets);
            } catch (...) {
                // The check faults again on saving and reports it there.
            }
            warnTargets_ = targets;
            warn_->setNote({}, {}, {});
            warn_->refreshText();
            if (warn_->Clean()) warn_->hide();
        });
    }
    const int line = warn_->showModally();
    const std::size_t chosen = line >= 0 ? static_cast<std::size_t>(line) : 0;
    if (chosen < warnTargets_.size() && warnTargets_[chosen].field != FormField::kNone) {
        goToFinding(warnTargets_[chosen]);
        return;
    }
    for (const WarningTarget& target : warnTargets_)
        if (target.field != FormField::kNone) {
            goToFinding(target);
            return;
        }
}

void frmEdit::markField(FormField field) {
    QWidget* widget = fieldWidget(field);
    if (!widget || !lmpCmbVersion) return;
    // Only what the check reads of this field; the arrays stay out of a keystroke's way.
    ValidationInput form;
    form.txtNumLamps = txtNumLamps->text().toStdString();
    form.txtLumPerLamp = txtLumPerLamp->text().toStdString();
    form.txtMultiplier = txtMultiplier->text().toStdString();
    form.txtBallast = txtBallast->text().toStdString();
    form.txtWatt = txtWatt->text().toStdString();
    form.txtWidth = txtWidth->text().toStdString();
    form.txtLength = txtLength->text().toStdString();
    form.txtHeight = txtHeight->text().toStdString();
    form.lmpTxtNumAngles = lmpTxtNumAngles->text().toStdString();
    form.lmpCmbShape = lmpCmbShape->currentIndex();
    form.tltChkTilt = tltChkTilt->isChecked() ? 1 : 0;
    form.revision = lmpCmbVersion->currentIndex();
    const std::vector<std::string> findings = FieldFindings(form, field);

    if (!widget->property(kPlainTip).isValid()) widget->setProperty(kPlainTip, widget->toolTip());
    if (findings.empty()) {
        widget->setStyleSheet({});
        widget->setToolTip(widget->property(kPlainTip).toString());
        return;
    }
    QStringList lines;
    for (const std::string& f : findings)
        lines << QString::fromStdString(f);
    widget->setStyleSheet(QStringLiteral("%1 { border: 2px solid #c62828; border-radius: 2px; }")
                              .arg(QLatin1String(widget->metaObject()->className())));
    widget->setToolTip(lines.join(QLatin1Char('\n')));
}

void frmEdit::markFields() {
    for (FormField field : kMarkedFields)
        markField(field);
}

void frmEdit::markRequiredKeywords() {
    if (!keyLstPos || !lmpCmbVersion) return;
    const std::vector<RequiredKeyword> required =
        requiredKeywords(lmpCmbVersion->currentIndex(), keywordText());
    const QString revision = lmpCmbVersion->currentText();
    if (keyLabRequired) {
        keyLabRequired->setVisible(!required.empty());
        keyLabRequired->setText(
            tr("<b>Bold</b>: required by %1, <b style=\"color:#1b5e20\">present</b> or "
               "<b style=\"color:#c62828\">missing</b>")
                .arg(revision.toHtmlEscaped()));
    }
    for (int i = 0; i < keyLstPos->count(); ++i) {
        QListWidgetItem* item = keyLstPos->item(i);
        const auto it = std::find_if(required.begin(), required.end(),
                                     [&](const auto& r) { return qs(r.keyword) == item->text(); });
        QFont font = keyLstPos->font();
        if (it == required.end()) {
            item->setFont(font);
            item->setForeground(QBrush());
            item->setToolTip({});
            continue;
        }
        font.setBold(true);
        item->setFont(font);
        item->setForeground(it->present ? QColor(0x1b, 0x5e, 0x20) : QColor(0xc6, 0x28, 0x28));
        item->setToolTip(it->present ? tr("Required by %1; present").arg(revision)
                                     : tr("Required by %1; missing").arg(revision));
    }
}

// ---- The reader's remarks ----

QWidget* frmEdit::buildFindingsBanner() {
    fraFindings = new QFrame;
    fraFindings->setObjectName("fraFindings");
    fraFindings->setStyleSheet(
        QStringLiteral("#fraFindings { background: #fff8e1; border: 1px solid #e0b040; "
                       "border-radius: 3px; }"));
    labFindings = new QLabel;
    labFindings->setObjectName("labFindings");
    labFindings->setWordWrap(true);
    labFindings->setTextInteractionFlags(Qt::TextSelectableByMouse);
    cmdDismissFindings = new QToolButton;
    cmdDismissFindings->setObjectName("cmdDismissFindings");
    cmdDismissFindings->setText(QStringLiteral("✕"));
    cmdDismissFindings->setAutoRaise(true);
    cmdDismissFindings->setToolTip(tr("Hide these remarks"));
    connect(cmdDismissFindings, &QToolButton::clicked, fraFindings, &QWidget::hide);
    auto* row = new QHBoxLayout(fraFindings);
    row->setContentsMargins(8, 4, 4, 4);
    row->addWidget(labFindings, 1);
    row->addWidget(cmdDismissFindings, 0, Qt::AlignTop);

    // Status 1 and 3: the file was read, with remarks on values or keyword lines.
    const bool remarks = ctx_.openStatus == 1 || ctx_.openStatus == 3;
    if (!remarks || ctx_.openFindings.empty()) {
        fraFindings->hide();
        return fraFindings;
    }
    constexpr int kShown = 5;  // the banner stays small; the tooltip holds the whole list
    const QString lead = ctx_.openStatus == 1
                             ? tr("The file was read, with remarks on its header values:")
                             : tr("The file was read, with remarks on its keyword lines:");
    QStringList all;
    for (const std::string& f : ctx_.openFindings)
        all << QString::fromStdString(f).toHtmlEscaped();
    QStringList shown = all.mid(0, kShown);
    if (all.size() > kShown) shown << tr("... and %1 more").arg(all.size() - kShown);
    labFindings->setText(QStringLiteral("<b>%1</b><br>%2").arg(lead, shown.join("<br>")));
    labFindings->setToolTip(all.join(QLatin1Char('\n')));
    return fraFindings;
}

// ---- Edits ----

void frmEdit::watchEdits() {
    modifiedCheck_.setSingleShot(true);
    modifiedCheck_.setInterval(0);
    connect(&modifiedCheck_, &QTimer::timeout, this, [this] { updateModified(); });
    auto edited = [this] {
        if (!startupFlag_ && !busyFlag_) modifiedCheck_.start();
    };
    for (FormField field : kMarkedFields) {
        QWidget* widget = fieldWidget(field);
        auto mark = [this, field] {
            if (!startupFlag_ && !busyFlag_) markField(field);
        };
        if (auto* edit = qobject_cast<QLineEdit*>(widget))
            connect(edit, &QLineEdit::textChanged, this, mark);
    }
    connect(lmpCmbShape, &QComboBox::currentIndexChanged, this, [this] {
        if (!startupFlag_ && !busyFlag_) markField(FormField::kShape);
    });
    connect(lmpCmbVersion, &QComboBox::currentIndexChanged, this, [this] {
        if (startupFlag_ || busyFlag_) return;
        markField(FormField::kShape);
        markRequiredKeywords();
    });
    connect(tltChkTilt, &QCheckBox::toggled, this, [this] {
        if (!startupFlag_ && !busyFlag_) markField(FormField::kNumTiltAngles);
    });
    connect(keyRtb, &QTextEdit::textChanged, this, [this] {
        if (!startupFlag_ && !busyFlag_) markRequiredKeywords();
    });

    // Choices of view and the angle fields beside the grids never reach the record: no
    // comparison of the whole record for them.
    const std::array<const QObject*, 6> viewOnly = {cdaCmbPlanes,    cdaCmbUnit,  phoTxtVertAngle,
                                                    phoTxtHorzAngle, rdoOriginal, rdoCopy};
    const auto reachesRecord = [&viewOnly](const QObject* w) {
        return std::find(viewOnly.begin(), viewOnly.end(), w) == viewOnly.end();
    };
    for (QLineEdit* edit : findChildren<QLineEdit*>())
        if (reachesRecord(edit)) connect(edit, &QLineEdit::textChanged, this, edited);
    for (QComboBox* combo : findChildren<QComboBox*>())
        if (reachesRecord(combo)) connect(combo, &QComboBox::currentIndexChanged, this, edited);
    for (QAbstractButton* box : findChildren<QAbstractButton*>())
        if (box->isCheckable() && reachesRecord(box))
            connect(box, &QAbstractButton::toggled, this, edited);
    connect(keyRtb, &QTextEdit::textChanged, this, edited);
    for (QTableView* view : findChildren<QTableView*>()) {
        if (!view->model()) continue;
        connect(view->model(), &QAbstractItemModel::dataChanged, this, edited);
        connect(view->model(), &QAbstractItemModel::modelReset, this, edited);
    }
}

void frmEdit::updateModified() {
    if (!labModified) return;
    labModified->setVisible(loaded_ && !ctx_.list.empty() && hasUnsavedEdits());
}

void frmEdit::fitCommandLog() {
    // One line while it holds no more than the start; three once the host has spoken.
    const QString text = txtCmds->toPlainText().trimmed();
    const bool more = !text.isEmpty() && text != QLatin1String("START");
    const int lines = more ? 3 : 1;
    txtCmds->setFixedHeight(txtCmds->fontMetrics().lineSpacing() * lines + 12);
}

// ---- Size and place ----

void frmEdit::placeWindow() {
    if (placed_ || embedded_) return;
    placed_ = true;
    QScreen* screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen) return;
    const QRect free = screen->availableGeometry();
    const std::string stored =
        ctx_.store.get(window_store::kApp, window_store::kSection, window_store::kGeometry);
    int left = 0, top = 0, width = 0, height = 0;
    if (std::sscanf(stored.c_str(), "%d,%d,%d,%d", &left, &top, &width, &height) == 4 &&
        width > 0 && height > 0) {
        // A remembered place on a screen that is no longer there comes back onto this one.
        QRect place(left, top, std::min(width, free.width()), std::min(height, free.height()));
        if (!QGuiApplication::screenAt(place.center())) place.moveCenter(free.center());
        resize(place.size());
        move(place.topLeft());
        if (ctx_.store.get(window_store::kApp, window_store::kSection, window_store::kMaximized) ==
            "1")
            setWindowState(windowState() | Qt::WindowMaximized);
        return;
    }
    const QSize fit(static_cast<int>(free.width() * kScreenShare),
                    static_cast<int>(free.height() * kScreenShare));
    resize(size().boundedTo(fit));
    QRect place(QPoint(), size());
    place.moveCenter(free.center());
    move(place.topLeft());
}

void frmEdit::rememberPlace() {
    // Inside the host's window the host decides the place; a window never shown has none.
    if (embedded_ || !placed_) return;
    const bool maximized = isMaximized();
    // The place is the frame's, as move() takes it; the size is the window's own.
    QRect place = maximized ? normalGeometry() : geometry();
    if (!place.isValid()) return;
    place.moveTopLeft(place.topLeft() - (geometry().topLeft() - pos()));
    const std::string value = std::to_string(place.x()) + "," + std::to_string(place.y()) + "," +
                              std::to_string(place.width()) + "," + std::to_string(place.height());
    ctx_.store.save(window_store::kApp, window_store::kSection, window_store::kGeometry, value);
    ctx_.store.save(window_store::kApp, window_store::kSection, window_store::kMaximized,
                    maximized ? "1" : "0");
}

}  // namespace kandor
