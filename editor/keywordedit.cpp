#include "editor/keywordedit.h"

#include <QAbstractTextDocumentLayout>
#include <QDrag>
#include <QDropEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTextBlock>

#include <algorithm>

#include "core/keywords.h"
#include "core/keywordtemplate.h"

namespace kandor {

QColor colorFromBgr(std::int32_t bgr) {
    return QColor(bgr & 0xFF, (bgr >> 8) & 0xFF, (bgr >> 16) & 0xFF);
}

namespace {

QTextCharFormat weightAndColor(bool bold, std::int32_t bgr) {
    QTextCharFormat format;
    format.setFontWeight(bold ? QFont::Bold : QFont::Normal);
    format.setForeground(colorFromBgr(bgr));
    return format;
}

class LineNumberMargin final : public QWidget {
  public:
    explicit LineNumberMargin(KeywordTextEdit* edit) : QWidget(edit), edit_(edit) {}

  protected:
    void paintEvent(QPaintEvent* event) override { edit_->paintLineNumbers(event); }

  private:
    KeywordTextEdit* edit_;
};

}  // namespace

KeywordTextEdit::KeywordTextEdit(QWidget* parent) : QTextEdit(parent) {
    setAcceptDrops(true);
    numbers_ = new LineNumberMargin(this);
    numbers_->setObjectName("keyLineNumbers");
    numbers_->setToolTip(tr("Line numbers, as the warnings cite them"));
    connect(document(), &QTextDocument::blockCountChanged, this, [this] { fitLineNumbers(); });
    connect(verticalScrollBar(), &QScrollBar::valueChanged, numbers_,
            qOverload<>(&QWidget::update));
    connect(this, &QTextEdit::textChanged, numbers_, qOverload<>(&QWidget::update));
    fitLineNumbers();
}

int KeywordTextEdit::lineNumberWidth() const {
    const int digits =
        static_cast<int>(QString::number(std::max(1, document()->blockCount())).size());
    return 10 + fontMetrics().horizontalAdvance(QLatin1Char('9')) * std::max(2, digits);
}

void KeywordTextEdit::fitLineNumbers() {
    setViewportMargins(lineNumberWidth(), 0, 0, 0);
    const QRect inside = contentsRect();
    numbers_->setGeometry(inside.left(), inside.top(), lineNumberWidth(), inside.height());
    numbers_->update();
}

void KeywordTextEdit::resizeEvent(QResizeEvent* event) {
    QTextEdit::resizeEvent(event);
    fitLineNumbers();
}

void KeywordTextEdit::paintLineNumbers(QPaintEvent* event) {
    QPainter painter(numbers_);
    painter.fillRect(event->rect(), palette().color(QPalette::AlternateBase));
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.setFont(font());
    const int offset = verticalScrollBar()->value();
    const int viewportTop = viewport()->geometry().top() - contentsRect().top();
    const QAbstractTextDocumentLayout* layout = document()->documentLayout();
    const int width = numbers_->width() - 5;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        const QRectF r = layout->blockBoundingRect(block);
        const int top = static_cast<int>(r.top()) - offset + viewportTop;
        if (top > event->rect().bottom()) break;
        if (top + r.height() < event->rect().top()) continue;
        painter.drawText(0, top, width, fontMetrics().height(), Qt::AlignRight | Qt::AlignTop,
                         QString::number(block.blockNumber() + 1));
    }
}

int KeywordTextEdit::lineAt(const QPoint& viewportPos) const {
    const QTextDocument* doc = document();
    const QTextBlock last = doc->lastBlock();
    const QRectF lastRect = doc->documentLayout()->blockBoundingRect(last);
    const int contentY = viewportPos.y() + verticalScrollBar()->value();
    if (contentY >= lastRect.bottom()) return -1;
    return cursorForPosition(viewportPos).blockNumber();
}

void KeywordTextEdit::dropKeyword(const QString& keyword, int line) {
    QTextDocument* doc = document();
    const QTextBlock last = doc->lastBlock();
    const KeywordDrop drop = planKeywordDrop(line, doc->blockCount(), last.text().isEmpty());
    const QTextCharFormat bold = weightAndColor(true, kColorBlack);
    const QTextCharFormat plain = weightAndColor(false, kColorBlack);

    QTextCursor cursor(doc);
    cursor.beginEditBlock();
    if (drop.append) {
        cursor.movePosition(QTextCursor::End);
        if (drop.breakFirst) cursor.insertText(QStringLiteral("\n"), plain);
    } else {
        cursor.setPosition(doc->findBlockByNumber(drop.line).position());
    }
    cursor.insertText(keyword, bold);
    cursor.insertText(QStringLiteral(" "), plain);
    const int valuePosition = cursor.position();
    cursor.insertText(QStringLiteral("\n"), plain);
    cursor.endEditBlock();
    cursor.setPosition(valuePosition);
    setTextCursor(cursor);
    setCurrentCharFormat(plain);
}

void KeywordTextEdit::keyPressEvent(QKeyEvent* event) {
    QTextCursor cursor = textCursor();
    const QString typed = event->text();
    const QString blockText = cursor.block().text();
    const int caretInBlock = cursor.position() - cursor.block().position();
    const QChar before =
        cursor.hasSelection() || caretInBlock == 0 ? QChar() : blockText.at(caretInBlock - 1);
    const char beforeChar = before.unicode() < 0x80 ? static_cast<char>(before.unicode()) : '\x7f';

    switch (keywordKeyAction(typed.toStdString(), keywordClosed_, beforeChar)) {
        case KeywordKeyAction::BoldOn: {
            QTextCharFormat bold;
            bold.setFontWeight(QFont::Bold);
            mergeCurrentCharFormat(bold);
            break;
        }
        case KeywordKeyAction::CloseKeyword: {
            keywordClosed_ = true;
            if (cursor.hasSelection()) break;
            const std::string line = blockText.left(caretInBlock).toStdString();
            const auto closing = closingKeyword(line, line.size());
            if (!closing || !closing->color) break;
            // The offset is in bytes; what precedes the "[" may hold wider characters.
            const int start =
                static_cast<int>(QString::fromStdString(line.substr(0, closing->start)).size());
            QTextCursor keyword = cursor;
            keyword.setPosition(cursor.block().position() + start);
            keyword.setPosition(cursor.position(), QTextCursor::KeepAnchor);
            QTextCharFormat color;
            color.setForeground(colorFromBgr(*closing->color));
            keyword.mergeCharFormat(color);
            // The "]" about to be typed continues the keyword's colour.
            mergeCurrentCharFormat(color);
            break;
        }
        case KeywordKeyAction::UserKeyword: {
            QTextCursor bracket = cursor;
            bracket.movePosition(QTextCursor::Left, QTextCursor::KeepAnchor);
            const QTextCharFormat blue = weightAndColor(true, kColorBlue);
            bracket.mergeCharFormat(blue);
            mergeCurrentCharFormat(blue);
            break;
        }
        case KeywordKeyAction::PlainAfterKey:
            keywordClosed_ = false;
            mergeCurrentCharFormat(weightAndColor(false, kColorBlack));
            break;
        case KeywordKeyAction::None:
            break;
    }
    QTextEdit::keyPressEvent(event);
}

void KeywordTextEdit::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasFormat(QLatin1String(kKeywordMime))) {
        event->acceptProposedAction();
        return;
    }
    QTextEdit::dragEnterEvent(event);
}

void KeywordTextEdit::dragMoveEvent(QDragMoveEvent* event) {
    if (event->mimeData()->hasFormat(QLatin1String(kKeywordMime))) {
        event->acceptProposedAction();
        return;
    }
    QTextEdit::dragMoveEvent(event);
}

void KeywordTextEdit::dropEvent(QDropEvent* event) {
    const QMimeData* mime = event->mimeData();
    if (!mime->hasFormat(QLatin1String(kKeywordMime))) {
        QTextEdit::dropEvent(event);
        return;
    }
    const QString keyword = QString::fromUtf8(mime->data(QLatin1String(kKeywordMime)));
    dropKeyword(keyword, lineAt(event->position().toPoint()));
    event->acceptProposedAction();
    setFocus();
}

KeywordPicker::KeywordPicker(QWidget* parent) : QListWidget(parent) {
    setSelectionMode(QAbstractItemView::SingleSelection);
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragOnly);
    setDefaultDropAction(Qt::CopyAction);
    connect(this, &QListWidget::itemActivated, this,
            [this](QListWidgetItem* item) { emit keywordChosen(item->text()); });
}

QStringList KeywordPicker::mimeTypes() const {
    return {QLatin1String(KeywordTextEdit::kKeywordMime), QStringLiteral("text/plain")};
}

QMimeData* KeywordPicker::mimeData(const QList<QListWidgetItem*>& items) const {
    auto* mime = new QMimeData;
    if (items.isEmpty()) return mime;
    const QString keyword = items.first()->text();
    mime->setData(QLatin1String(KeywordTextEdit::kKeywordMime), keyword.toUtf8());
    mime->setText(keyword);
    return mime;
}

void KeywordPicker::startDrag(Qt::DropActions supportedActions) {
    QListWidgetItem* item = currentItem();
    if (!item) return;
    auto* drag = new QDrag(this);
    drag->setMimeData(mimeData({item}));
    if (dragLabel_) {
        // Label5 is what the user sees move: the keyword on a strip as wide as the list.
        dragLabel_->setText(item->text());
        dragLabel_->resize(viewport()->width(), visualItemRect(item).height() + 4);
        const QPixmap strip = dragLabel_->grab();
        drag->setPixmap(strip);
        drag->setHotSpot(QPoint(strip.width() / 4, strip.height() / 2));
    }
    drag->exec(supportedActions & Qt::CopyAction ? Qt::CopyAction : supportedActions,
               Qt::CopyAction);
}

}  // namespace kandor
