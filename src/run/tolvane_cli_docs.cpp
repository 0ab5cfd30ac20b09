#include "base/AppInfo.h"
#include "run/CliCompletion.h"
#include "run/CliManPage.h"

#include <cstdio>
#include <QFile>
#include <QString>

// Writes the manual page and the bash completion of tolvane-cli, made at
// build time from the same description as its --help.
namespace {

bool writeFile(const char* path, const QString& text)
{
    QFile file(QString::fromLocal8Bit(path));
    const QByteArray bytes = text.toUtf8();
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size())
        return true;
    std::fprintf(stderr, "tolvane-cli-docs: cannot write %s: %s\n", path, qPrintable(file.errorString()));
    return false;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "Usage: tolvane-cli-docs MANPAGE COMPLETION\n");
        return 2;
    }
    const bool written = writeFile(argv[1], CliManPage::text(QString::fromLatin1(AppInfo::version))) &&
                         writeFile(argv[2], CliCompletion::bashScript());
    return written ? 0 : 1;
}
