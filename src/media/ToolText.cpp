#include "media/ToolText.h"

#include <array>
#include <charconv>
#include <QFileInfo>
#include <QStringDecoder>

namespace ToolText {

std::optional<QString> decodeUtf8(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

std::optional<double> parseDecimal(QStringView text)
{
    qsizetype i = 0;
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+'))
        ++i;
    int digits = 0;
    bool seenPoint = false;
    for (; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c >= u'0' && c <= u'9')
            ++digits;
        else if (c == u'.' && !seenPoint)
            seenPoint = true;
        else
            return std::nullopt;
    }
    if (digits == 0)
        return std::nullopt;
    bool ok = false;
    const double value = text.toString().toDouble(&ok);
    return ok ? std::optional<double>(value) : std::nullopt;
}

QString shortestDecimal(double value)
{
    std::array<char, 400> buffer{};
    const auto result =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed);
    QString text = QString::fromLatin1(buffer.data(), result.ptr - buffer.data());
    if (!text.contains(u'.'))
        text += QStringLiteral(".0");
    return text;
}

QString toolPath(const QString& path)
{
    return QFileInfo(path).absoluteFilePath();
}

namespace {

// A line ffmpeg prints to describe rather than to complain.
bool isDescriptive(QStringView line)
{
    if (line.isEmpty() || line.front().isSpace())
        return true;
    static const QStringView prefixes[] = {u"Input #",   u"Output #",       u"Stream mapping:",
                                           u"Press [q]", u"frame=",         u"size=",
                                           u"video:",    u"ffmpeg version", u"Guessed Channel Layout"};
    for (const QStringView prefix : prefixes) {
        if (line.startsWith(prefix))
            return true;
    }
    // Newer ffmpeg prefixes its closing statistics with the muxer's name.
    return line.contains(u"] video:") || line.contains(u"] frame=");
}

} // namespace

QString lastErrorLine(QStringView output)
{
    const QStringView generic = u"Conversion failed!";
    bool genericSeen = false;
    const QList<QStringView> all = output.split(u'\n');
    for (auto line = all.crbegin(); line != all.crend(); ++line) {
        QStringView text = *line;
        if (text.endsWith(u'\r'))
            text.chop(1);
        if (isDescriptive(text) || text.trimmed().isEmpty())
            continue;
        if (text.trimmed() == generic) {
            genericSeen = true;
            continue;
        }
        return text.trimmed().toString();
    }
    return genericSeen ? generic.toString() : QString();
}

} // namespace ToolText
