#include "run/CliHelp.h"

using namespace Qt::StringLiterals;

namespace CliHelp {

namespace {

// Where the explanations start, and the last column a line may use.
constexpr qsizetype indent = 15;
constexpr qsizetype lastColumn = 79;

QString optionWord(const CliDescription::Option& option)
{
    QString word = CliDescription::typed(option);
    if (option.value == CliDescription::Value::choice)
        word += u' ' + option.choices.join(u'|');
    else if (option.value != CliDescription::Value::none)
        word += u' ' + option.valueName;
    return word;
}

} // namespace

QStringList synopsisWords(const CliDescription::Command& command)
{
    QStringList words{command.name};
    words += command.operands;
    QStringList options;
    for (const CliDescription::Option& option : command.options)
        options.append(optionWord(option) + (option.repeatable ? u"]..."_s : u"]"_s));
    if (command.exclusiveOptions && !options.isEmpty()) {
        for (QString& option : options)
            option.chop(1);
        words.append(u'[' + options.join(u" | "_s) + u']');
    } else {
        for (const QString& option : options)
            words.append(u'[' + option);
    }
    return words;
}

QString commandText(const CliDescription::Command& command)
{
    const QString margin(indent, u' ');
    QString text = u"  "_s;
    qsizetype lineLength = text.size();
    bool lineStarted = false;
    for (const QString& word : synopsisWords(command)) {
        if (lineStarted && lineLength + 1 + word.size() > lastColumn) {
            text += u'\n' + margin;
            lineLength = margin.size();
            lineStarted = false;
        }
        if (lineStarted) {
            text += u' ';
            ++lineLength;
        }
        text += word;
        lineLength += word.size();
        lineStarted = true;
    }
    text += u'\n';
    for (const QString& paragraph : command.paragraphs)
        for (const QString& line : paragraph.split(u'\n'))
            text += margin + line + u'\n';
    return text;
}

QString text(const QString& defaultOutputFolder)
{
    QString help =
        u"Usage: tolvane-cli COMMAND [OPTIONS]\n\n"_s + CliDescription::summary() + u"\n\nCommands:\n"_s;
    for (const CliDescription::Command& command : CliDescription::commands(defaultOutputFolder))
        help += commandText(command);
    for (const CliDescription::GeneralOption& option : CliDescription::generalOptions())
        help += (u"  --"_s + option.name).leftJustified(indent) + option.help + u'\n';
    return help;
}

} // namespace CliHelp
