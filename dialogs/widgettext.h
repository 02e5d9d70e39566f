#pragma once

// The texts the system keeps have CRLF line ends and bytes as a file gave them; a text widget
// shows lines with its own breaks and holds Unicode. These two functions cross that border,
// and a text that went in and came out untouched keeps its bytes.

#include <string>
#include <string_view>

#include <QString>

namespace kandor {

// A text ready for a widget: line ends as the widget's own. Bytes that are not UTF-8 (files
// from older systems are often Latin-1) are shown as Latin-1 and remembered so.
struct WidgetText {
    QString text;
    bool latin1 = false;
};
WidgetText toWidgetText(std::string_view text);

// A widget's raw text (paragraph separators or LF between lines) with every line end CRLF, in
// the encoding the text came in with.
std::string fromWidgetText(const QString& rawText, bool latin1);

}  // namespace kandor
