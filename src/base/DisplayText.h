#pragma once

#include <QString>
#include <QStringView>

// Text from a card (file names, CLIP XML values, tool output) as it may be
// shown in a report, the window or a terminal.
namespace DisplayText {

// `text` with every control character written as an escape: "\n", "\r",
// "\t", otherwise "\x" and two hexadecimal digits ("\x1b" for ESC, "\x85"
// for NEL). A hostile name can then neither forge lines in a report nor
// drive a terminal. Everything else, non-ASCII letters included, is kept.
QString escaped(QStringView text);

// The same for a text of several lines: line feeds are kept, every other
// control character is escaped.
QString escapedLines(QStringView text);

} // namespace DisplayText
