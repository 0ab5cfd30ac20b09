#include "run/CliManPage.h"

#include "run/CliHelp.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace CliManPage {

namespace {

// Where movies go until an output folder is chosen, as the page can tell it
// without knowing the reader's home.
const QString defaultOutputFolder = u"Tolvane in the videos folder (usually ~/Videos/Tolvane)"_s;

// A paragraph of the help as one filled roff paragraph.
QString filled(const QString& paragraph)
{
    return escaped(QString(paragraph).replace(u'\n', u' ')) + u'\n';
}

} // namespace

QString escaped(const QString& text)
{
    QString roff = text;
    roff.replace(u'\\', u"\\e"_s).replace(u'-', u"\\-"_s);
    if (roff.startsWith(u'.') || roff.startsWith(u'\''))
        roff.prepend(u"\\&"_s);
    return roff;
}

QString text(const QString& version)
{
    QString page = u".TH TOLVANE\\-CLI 1 \"\" \"Tolvane "_s + escaped(version) +
                   u"\" \"User Commands\"\n"
                   // Option names are never hyphenated at a line's end.
                   ".nh\n"
                   ".ad l\n"
                   ".SH NAME\n"
                   "tolvane\\-cli \\- convert Panasonic P2 camera cards into ProRes movies without a window\n"
                   ".SH SYNOPSIS\n"
                   ".B tolvane\\-cli\n"
                   ".I COMMAND\n"
                   ".RI [ OPTIONS ]\n"
                   ".SH DESCRIPTION\n"_s +
                   filled(CliDescription::summary()) +
                   u".PP\n"
                   "Every video on the card is paired with its own audio only when the UMIDs that the\n"
                   "CLIP XML and every MXF file carry prove it, the clips are numbered in shooting\n"
                   "order, and \\fBffmpeg\\fR(1) converts each clip; the card is only ever read.\n"
                   ".SH COMMANDS\n"_s;
    for (const CliDescription::Command& command : CliDescription::commands(defaultOutputFolder)) {
        const QStringList words = CliHelp::synopsisWords(command);
        page += u".TP\n.B "_s + escaped(words.first());
        if (words.size() > 1)
            page += u" \""_s + escaped(words.mid(1).join(u' ')).replace(u'"', u"\\(dq"_s) + u'"';
        page += u'\n';
        for (qsizetype i = 0; i < command.paragraphs.size(); ++i)
            page += (i == 0 ? QString() : u".IP\n"_s) + filled(command.paragraphs.at(i));
    }
    page += u".SH OPTIONS\n"_s;
    for (const CliDescription::GeneralOption& option : CliDescription::generalOptions())
        page += u".TP\n.B \\-\\-"_s + escaped(option.name) + u'\n' + filled(option.help);
    page += u".SH FILES\n"
            ".TP\n"
            ".I ~/.config/Tolvane/Tolvane.json\n"
            "The settings, the recent folders and the history that the app and\n"
            ".B tolvane\\-cli\n"
            "share.\n"
            ".SH SEE ALSO\n"
            ".BR tolvane (1),\n"
            ".BR ffmpeg (1),\n"
            ".BR ffprobe (1)\n"_s;
    return page;
}

} // namespace CliManPage
