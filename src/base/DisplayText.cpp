#include "base/DisplayText.h"

namespace DisplayText {

namespace {

bool isControl(char16_t c)
{
    return c < 0x20 || (c >= 0x7f && c <= 0x9f);
}

QString escape(QStringView text, bool keepLineFeeds)
{
    QString result;
    result.reserve(text.size());
    for (const QChar c : text) {
        const char16_t code = c.unicode();
        if (!isControl(code) || (keepLineFeeds && code == u'\n'))
            result.append(c);
        else if (code == u'\n')
            result.append(QLatin1String("\\n"));
        else if (code == u'\r')
            result.append(QLatin1String("\\r"));
        else if (code == u'\t')
            result.append(QLatin1String("\\t"));
        else
            result.append(QStringLiteral("\\x%1").arg(int(code), 2, 16, QLatin1Char('0')));
    }
    return result;
}

} // namespace

QString escaped(QStringView text)
{
    return escape(text, false);
}

QString escapedLines(QStringView text)
{
    return escape(text, true);
}

} // namespace DisplayText
