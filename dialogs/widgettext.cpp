#include "dialogs/widgettext.h"

#include <QStringDecoder>

namespace kandor {

WidgetText toWidgetText(std::string_view text) {
    WidgetText out;
    const QByteArray bytes =
        QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size()));
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    out.text = utf8.decode(bytes);
    if (utf8.hasError()) {
        out.text = QString::fromLatin1(bytes);
        out.latin1 = true;
    }
    out.text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return out;
}

std::string fromWidgetText(const QString& rawText, bool latin1) {
    QString text = rawText;
    text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
    const QByteArray bytes = latin1 ? text.toLatin1() : text.toUtf8();
    return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

}  // namespace kandor
