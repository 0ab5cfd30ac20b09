#include "run/CliCompletion.h"

#include "run/CliDescription.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace CliCompletion {

namespace {

using CliDescription::Value;

// What the script offers for an option's value.
QString valueCompletion(const CliDescription::Option& option)
{
    switch (option.value) {
    case Value::folder:
        return u"_tolvane_cli_folders"_s;
    case Value::file:
        return u"_tolvane_cli_files"_s;
    case Value::choice:
        return u"_tolvane_cli_words '"_s + option.choices.join(u' ') + u'\'';
    case Value::text:
        return u"COMPREPLY=()"_s;
    case Value::none:
        break;
    }
    return QString();
}

} // namespace

QString bashScript()
{
    const QList<CliDescription::Command> commands = CliDescription::commands(QString());
    QStringList firstWords;
    for (const CliDescription::Command& command : commands)
        firstWords.append(command.name);
    for (const CliDescription::GeneralOption& option : CliDescription::generalOptions())
        firstWords.append(u"--"_s + option.name);

    QString script = u"# bash completion for tolvane-cli, made from the description of its commands\n"
                     "\n"
                     "_tolvane_cli_words()\n"
                     "{\n"
                     "    mapfile -t COMPREPLY < <(compgen -W \"$1\" -- \"$cur\")\n"
                     "}\n"
                     "\n"
                     "_tolvane_cli_folders()\n"
                     "{\n"
                     "    compopt -o filenames 2>/dev/null\n"
                     "    mapfile -t COMPREPLY < <(compgen -d -- \"$cur\")\n"
                     "}\n"
                     "\n"
                     "_tolvane_cli_files()\n"
                     "{\n"
                     "    compopt -o filenames 2>/dev/null\n"
                     "    mapfile -t COMPREPLY < <(compgen -f -- \"$cur\")\n"
                     "}\n"
                     "\n"
                     "_tolvane_cli()\n"
                     "{\n"
                     "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}\n"
                     "    local command='' operands=no i\n"
                     "    # \"--option=value\" reaches us as three words: --option, = and value.\n"
                     "    if [[ $cur == = ]]; then\n"
                     "        cur=''\n"
                     "    elif [[ $prev == = ]]; then\n"
                     "        prev=${COMP_WORDS[COMP_CWORD - 2]}\n"
                     "    fi\n"
                     "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
                     "        if [[ -z $command && ${COMP_WORDS[i]} != -* ]]; then\n"
                     "            command=${COMP_WORDS[i]}\n"
                     "        elif [[ -n $command && ${COMP_WORDS[i]} == -- ]]; then\n"
                     "            operands=yes\n"
                     "        fi\n"
                     "    done\n"
                     "    if [[ -z $command ]]; then\n"
                     "        _tolvane_cli_words '"_s +
                     firstWords.join(u' ') +
                     u"'\n"
                     "        return\n"
                     "    fi\n"
                     "    case $command in\n"_s;
    for (const CliDescription::Command& command : commands) {
        QStringList options;
        QString valueCases;
        for (const CliDescription::Option& option : command.options) {
            options.append(CliDescription::typed(option));
            if (option.value != Value::none)
                valueCases += u"                "_s + CliDescription::typed(option) + u") "_s +
                              valueCompletion(option) + u"; return ;;\n"_s;
        }
        script += u"    "_s + command.name + u")\n"_s;
        if (!valueCases.isEmpty())
            script += u"        if [[ $operands == no ]]; then\n"
                      "            case $prev in\n"_s +
                      valueCases +
                      u"            esac\n"
                      "        fi\n"_s;
        const QString operandCompletion =
            command.operands.isEmpty() ? u"COMPREPLY=()"_s : u"_tolvane_cli_folders"_s;
        script += u"        if [[ $operands == no && $cur == -* ]]; then\n"
                  "            _tolvane_cli_words '"_s +
                  options.join(u' ') +
                  u"'\n"
                  "        else\n"
                  "            "_s +
                  operandCompletion +
                  u"\n"
                  "        fi\n"
                  "        ;;\n"_s;
    }
    script += u"    esac\n"
              "}\n"
              "\n"
              "complete -F _tolvane_cli tolvane-cli\n"_s;
    return script;
}

} // namespace CliCompletion
