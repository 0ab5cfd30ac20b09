#include "run/CliDescription.h"

#include "run/CardCommand.h"
#include "run/CliCompletion.h"
#include "run/CliHelp.h"
#include "run/CliManPage.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QString fileText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

// A command like the ones to come: an operand, a repeatable named value and a switch.
CliDescription::Command exampleCommand()
{
    return {
        .name = u"example"_s,
        .operands = {u"CARD"_s},
        .options =
            {
                {.name = u"clip"_s,
                 .value = CliDescription::Value::text,
                 .valueName = u"NAME"_s,
                 .repeatable = true},
                {.name = u"json"_s},
            },
        .paragraphs = {u"Does an example."_s},
    };
}

} // namespace

// The help, the manual page and the completion come from one description of
// the command line, and the parser follows it.
class CliDescriptionTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_root;

    // What the installed completion offers for the words before the cursor and the word at it.
    QStringList complete(const QStringList& words)
    {
        const QString bash = QStandardPaths::findExecutable(u"bash"_s);
        QStringList quoted;
        for (const QString& word : words)
            quoted.append(u'\'' + QString(word).replace(u'\'', u"'\\''"_s) + u'\'');
        const QString script = u"source \"$0\"; COMP_WORDS=(%1); COMP_CWORD=%2; _tolvane_cli; "
                               "printf '%s\\n' \"${COMPREPLY[@]}\""_s.arg(quoted.join(u' '))
                                   .arg(words.size() - 1);
        QProcess process;
        process.setWorkingDirectory(m_root.path());
        process.start(bash, {u"-c"_s, script, QStringLiteral(TOLVANE_CLI_COMPLETION)});
        if (!process.waitForFinished(30000) || process.exitCode() != 0)
            return {u"bash failed: "_s + QString::fromUtf8(process.readAllStandardError())};
        QStringList offered =
            QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        offered.sort();
        return offered;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        QVERIFY(QDir(m_root.path()).mkpath(u"card one/CONTENTS"_s));
        QVERIFY(QDir(m_root.path()).mkpath(u"card two"_s));
        QFile file(m_root.filePath(u"card notes.txt"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }

    void everyCommandAndOptionIsInTheHelpTheManualAndTheCompletion()
    {
        const QString help = CliHelp::text(u"/videos/Tolvane"_s);
        const QString manual = fileText(QStringLiteral(TOLVANE_CLI_MANPAGE));
        const QString completion = fileText(QStringLiteral(TOLVANE_CLI_COMPLETION));
        QCOMPARE(manual, CliManPage::text(QStringLiteral(TOLVANE_VERSION_FOR_TEST)));
        QCOMPARE(completion, CliCompletion::bashScript());
        for (const CliDescription::Command& command : CliDescription::commands(u"/videos/Tolvane"_s)) {
            QVERIFY2(help.contains(u"\n  "_s + command.name + u' '), qPrintable(command.name));
            QVERIFY2(manual.contains(u".B "_s + CliManPage::escaped(command.name) + u" \""_s),
                     qPrintable(command.name));
            QVERIFY2(completion.contains(u"\n    "_s + command.name + u")\n"_s), qPrintable(command.name));
            for (const CliDescription::Option& option : command.options) {
                const QString typed = CliDescription::typed(option);
                const QRegularExpression synopsis(u"(\\[|\\| )"_s + QRegularExpression::escape(typed) +
                                                  u"[] ]"_s);
                QVERIFY2(synopsis.match(help).hasMatch(), qPrintable(typed));
                QVERIFY2(manual.contains(CliManPage::escaped(typed)), qPrintable(typed));
                QVERIFY2(completion.contains(typed), qPrintable(typed));
            }
        }
    }

    void theManualEscapesWhatRoffWouldRead()
    {
        QCOMPARE(CliManPage::escaped(u".hidden --x \\n"_s), u"\\&.hidden \\-\\-x \\en"_s);
        QCOMPARE(CliManPage::escaped(u"'quoted"_s), u"\\&'quoted"_s);
    }

    void aLongSynopsisWrapsBelowTheCommand()
    {
        const QString text = CliHelp::commandText(CliDescription::command(u"convert"_s));
        QVERIFY2(text.startsWith(
                     u"  convert CARD [--output-folder DIR] [--profile proxy|standard|hq]\n"
                     "               [--allow-unsafe-fallback] [--join-spanned] [--clip-metadata]\n"
                     "               [--allow-sleep] [--ignore-free-space] [--clip NAME]... [--json]\n"_s),
                 qPrintable(text));
        QCOMPARE(CliHelp::synopsisWords(CliDescription::command(u"history"_s)),
                 (QStringList{u"history"_s, u"[--clear | --json]"_s}));
        QCOMPARE(CliHelp::synopsisWords(exampleCommand()),
                 (QStringList{u"example"_s, u"CARD"_s, u"[--clip NAME]..."_s, u"[--json]"_s}));
    }

    void aRepeatableOptionGathersItsValues()
    {
        QCommandLineParser parser;
        QCOMPARE(CardCommand::parseOptions(exampleCommand(),
                                           {u"--clip"_s, u"A 0001"_s, u"/card"_s, u"--clip=B"_s, u"--json"_s},
                                           parser),
                 std::nullopt);
        QCOMPARE(parser.values(u"clip"_s), (QStringList{u"A 0001"_s, u"B"_s}));
        QVERIFY(parser.isSet(u"json"_s));
        QCOMPARE(parser.positionalArguments(), QStringList{u"/card"_s});
    }

    void theParserNamesTheArgumentItRefuses_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("problem");
        QTest::newRow("a value at the end")
            << QStringList{u"/card"_s, u"--clip"_s} << u"--clip needs a name"_s;
        QTest::newRow("an empty value") << QStringList{u"--clip="_s, u"/card"_s} << u"--clip needs a name"_s;
        QTest::newRow("a switch with a value")
            << QStringList{u"--json=yes"_s} << u"unknown option “--json=yes”"_s;
        QTest::newRow("a single dash") << QStringList{u"-json"_s} << u"unknown option “-json”"_s;
        QTest::newRow("three dashes") << QStringList{u"---json"_s} << u"unknown option “---json”"_s;
    }

    void theParserNamesTheArgumentItRefuses()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, problem);
        QCommandLineParser parser;
        QCOMPARE(CardCommand::parseOptions(exampleCommand(), arguments, parser),
                 std::optional<QString>(problem));
    }

    void optionsEndAtTheDoubleDash()
    {
        QCommandLineParser parser;
        QCOMPARE(CardCommand::parseOptions(exampleCommand(), {u"--"_s, u"--json"_s, u"-"_s}, parser),
                 std::nullopt);
        QVERIFY(!parser.isSet(u"json"_s));
        QCOMPARE(parser.positionalArguments(), (QStringList{u"--json"_s, u"-"_s}));
    }

    void theCompletionOffersCommandsOptionsChoicesAndFolders()
    {
        QCOMPARE(complete({u"tolvane-cli"_s, u""_s}),
                 (QStringList{u"--help"_s, u"--version"_s, u"backup"_s, u"convert"_s, u"debug-report"_s,
                              u"history"_s, u"scan"_s, u"verify-backup"_s}));
        QCOMPARE(complete({u"tolvane-cli"_s, u"scan"_s, u"--"_s}),
                 (QStringList{u"--allow-unsafe-fallback"_s, u"--json"_s, u"--timings"_s}));
        QCOMPARE(complete({u"tolvane-cli"_s, u"convert"_s, u"--profile"_s, u""_s}),
                 (QStringList{u"hq"_s, u"proxy"_s, u"standard"_s}));
        QCOMPARE(complete({u"tolvane-cli"_s, u"convert"_s, u"--profile"_s, u"="_s, u"p"_s}),
                 QStringList{u"proxy"_s});
        // Only folders for a card, with spaces kept inside one word.
        QCOMPARE(complete({u"tolvane-cli"_s, u"convert"_s, u"--join-spanned"_s, u"card"_s}),
                 (QStringList{u"card one"_s, u"card two"_s}));
        QCOMPARE(complete({u"tolvane-cli"_s, u"debug-report"_s, u"--output"_s, u"card n"_s}),
                 QStringList{u"card notes.txt"_s});
        QCOMPARE(complete({u"tolvane-cli"_s, u"history"_s, u"--j"_s}), QStringList{u"--json"_s});
        QCOMPARE(complete({u"tolvane-cli"_s, u"history"_s, u"c"_s}), QStringList());
        // After "--" a word with a dash is a folder too.
        QVERIFY(QDir(m_root.path()).mkpath(u"-dashed"_s));
        QCOMPARE(complete({u"tolvane-cli"_s, u"scan"_s, u"--"_s, u"-d"_s}), QStringList{u"-dashed"_s});
    }
};

QTEST_GUILESS_MAIN(CliDescriptionTest)
#include "CliDescriptionTest.moc"
