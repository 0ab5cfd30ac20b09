#include "run/AppInfo.h"

#include <QCoreApplication>
#include <QStringList>
#include <QTextStream>

namespace {

const char* const usageText = R"(Usage: tolvane-cli COMMAND [OPTIONS]

Turns a Panasonic P2 card into one Apple ProRes .mov per clip, without a window.

Commands:
  --help       Show this text.
  --version    Show the version.
)";

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QString::fromLatin1(AppInfo::organizationName));
    QCoreApplication::setApplicationName(QString::fromLatin1(AppInfo::applicationName));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(AppInfo::version));

    QTextStream out(stdout);
    QTextStream err(stderr);
    const QStringList args = app.arguments().mid(1);
    if (args.isEmpty() || args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h")) {
        out << usageText;
        return args.isEmpty() ? 2 : 0;
    }
    if (args.first() == QLatin1String("--version")) {
        out << "tolvane-cli " << AppInfo::version << '\n';
        return 0;
    }
    err << "tolvane-cli: unknown command “" << args.first() << "”. Try tolvane-cli --help.\n";
    return 2;
}
