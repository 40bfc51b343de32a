#include "Cli.h"

#include "Commands.h"

namespace qzcli {

namespace {

constexpr const char* kUsage = "usage: qzlogger [--card PATH] <command> [options] [arguments]";

void print(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
}

void printOverview()
{
    QString text =
        QString::fromLatin1(kUsage) + QStringLiteral("\n\nReads a store of the measurement logger and "
                                                     "never changes a byte of it.\n\nOptions:\n"
                                                     "  --card PATH  read the card folder at PATH (it "
                                                     "holds logger/logger.db) without card service "
                                                     "or writer;\n"
                                                     "               without it, the live store that "
                                                     "the configuration database.xml names\n"
                                                     "  --help       this text; <command> --help tells "
                                                     "of one command\n\nCommands:\n");
    int count = 0;
    const Command* all = commands(count);
    for (int index = 0; index < count; ++index) {
        text += QStringLiteral("  %1  %2\n")
                    .arg(QString::fromLatin1(all[index].name).leftJustified(8),
                         QString::fromLatin1(all[index].summary));
    }
    text +=
        QStringLiteral("\nExit status: 0 done, 1 findings, 2 a command line or store that cannot be used.\n");
    print(stdout, text);
}

void printHelp(const Command& command)
{
    print(stdout, QStringLiteral("usage: qzlogger [--card PATH] %1\n\n%2\n%3")
                      .arg(QString::fromLatin1(command.synopsis), QString::fromLatin1(command.summary),
                           QString::fromLatin1(command.help)));
}

const Command* findCommand(const QString& name)
{
    int count = 0;
    const Command* all = commands(count);
    for (int index = 0; index < count; ++index) {
        if (name == QLatin1String(all[index].name))
            return &all[index];
    }
    return nullptr;
}

QString commandNames()
{
    int count = 0;
    const Command* all = commands(count);
    QStringList names;
    for (int index = 0; index < count; ++index)
        names << QString::fromLatin1(all[index].name);
    return names.join(QStringLiteral(", "));
}

} // namespace

void printLine(const QString& line)
{
    print(stdout, line + QLatin1Char('\n'));
}

void printColumns(const QStringList& columns, const std::vector<int>& widths)
{
    QString line;
    for (int index = 0; index < columns.size(); ++index) {
        const int width = index < static_cast<int>(widths.size()) ? widths[static_cast<size_t>(index)] : 0;
        line += index + 1 < columns.size() ? columns.at(index).leftJustified(width) + QLatin1Char(' ')
                                           : columns.at(index);
    }
    printLine(line);
}

void complain(const Invocation& invocation, const QString& text)
{
    const QString prefix = invocation.command.isEmpty() ? QStringLiteral("qzlogger")
                                                        : QStringLiteral("qzlogger ") + invocation.command;
    QString line = text;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    print(stderr, prefix + QStringLiteral(": ") + line + QLatin1Char('\n'));
}

int run(const QStringList& arguments)
{
    Invocation invocation;
    int next = 0;
    // The options before the command.
    while (next < arguments.size() && arguments.at(next).startsWith(QLatin1Char('-'))) {
        const QString option = arguments.at(next);
        if (option == QLatin1String("--help") || option == QLatin1String("-h")) {
            printOverview();
            return kExitOk;
        }
        if (option == QLatin1String("--card")) {
            if (next + 1 >= arguments.size() || arguments.at(next + 1).isEmpty()) {
                complain(invocation,
                         QStringLiteral("--card wants the card's folder: qzlogger --card PATH <command>"));
                return kExitUsage;
            }
            invocation.cardPath = arguments.at(next + 1);
            next += 2;
            continue;
        }
        if (option.startsWith(QLatin1String("--card="))) {
            invocation.cardPath = option.mid(7);
            if (invocation.cardPath.isEmpty()) {
                complain(invocation,
                         QStringLiteral("--card wants the card's folder: qzlogger --card PATH <command>"));
                return kExitUsage;
            }
            ++next;
            continue;
        }
        complain(invocation, QStringLiteral("unknown option %1: see qzlogger --help").arg(option));
        return kExitUsage;
    }
    if (next >= arguments.size()) {
        complain(
            invocation,
            QStringLiteral("no command given: give one of %1, or see qzlogger --help").arg(commandNames()));
        return kExitUsage;
    }
    QString name = arguments.at(next++);
    if (name == QLatin1String("help")) {
        if (next >= arguments.size()) {
            printOverview();
            return kExitOk;
        }
        const Command* command = findCommand(arguments.at(next));
        if (command == nullptr) {
            complain(
                invocation,
                QStringLiteral("unknown command %1: give one of %2").arg(arguments.at(next), commandNames()));
            return kExitUsage;
        }
        printHelp(*command);
        return kExitOk;
    }
    const Command* command = findCommand(name);
    if (command == nullptr) {
        complain(invocation, QStringLiteral("unknown command %1: give one of %2").arg(name, commandNames()));
        return kExitUsage;
    }
    invocation.command = name;
    invocation.words = arguments.mid(next);
    if (invocation.words.contains(QStringLiteral("--help")) ||
        invocation.words.contains(QStringLiteral("-h"))) {
        printHelp(*command);
        return kExitOk;
    }
    return command->run(invocation);
}

} // namespace qzcli
