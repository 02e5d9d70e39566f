#pragma once

// The keywords tab's two special widgets: the keyword text, which colours a keyword as it is
// typed and takes keywords dropped from the picker, and the picker itself. What they do is
// decided by core/keywordtemplate.h; these classes only apply it to Qt's text document.

#include <cstdint>

#include <QColor>
#include <QListWidget>
#include <QTextEdit>

class QLabel;

namespace kandor {

// The core's colours are 24-bit blue-green-red integers.
QColor colorFromBgr(std::int32_t bgr);

class KeywordTextEdit final : public QTextEdit {
    Q_OBJECT

  public:
    // The drag format of a keyword from the picker.
    static constexpr const char* kKeywordMime = "application/x-kandor-keyword";

    explicit KeywordTextEdit(QWidget* parent = nullptr);

    // The 0-based line under a point of the viewport; -1 when the point is below the last
    // line.
    int lineAt(const QPoint& viewportPos) const;
    // Inserts `keyword` as a drop on a 0-based line would: a new line in front of that line,
    // or appended at the end for -1 (or a line past the last). The keyword is bold, a blank
    // follows, and the caret stays after the blank for the value.
    void dropKeyword(const QString& keyword, int line);

    // Set after "]" was typed, cleared by the next key that types something else.
    bool keywordClosed() const { return keywordClosed_; }

    // The line numbers in the margin, as the warnings cite the lines.
    QWidget* lineNumbers() const { return numbers_; }
    int lineNumberWidth() const;
    void paintLineNumbers(QPaintEvent* event);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void fitLineNumbers();

    bool keywordClosed_ = false;
    QWidget* numbers_ = nullptr;
};

// The standard keywords, dragged from here onto the keyword text. The drag shows `dragLabel`
// (the tab's Label5) with the keyword on it. A double click or Enter asks for the keyword to
// be put in front of the caret's line, for those who do not drag.
class KeywordPicker final : public QListWidget {
    Q_OBJECT

  public:
    explicit KeywordPicker(QWidget* parent = nullptr);
    void setDragLabel(QLabel* label) { dragLabel_ = label; }

  signals:
    void keywordChosen(const QString& keyword);

  protected:
    QMimeData* mimeData(const QList<QListWidgetItem*>& items) const override;
    QStringList mimeTypes() const override;
    void startDrag(Qt::DropActions supportedActions) override;

  private:
    QLabel* dragLabel_ = nullptr;
};

}  // namespace kandor
