#include "Options.h"

#include "Commands.h"
#include "TimeText.h"

#include <climits>
#include <cstdio>
#include <unistd.h>

namespace qzcli {

QString usageOf(const Invocation& invocation)
{
    int count = 0;
    const Command* all = commands(count);
    for (int index = 0; index < count; ++index) {
        if (invocation.command == QLatin1String(all[index].name))
            return QStringLiteral("qzlogger ") + QString::fromLatin1(all[index].synopsis);
    }
    return QStringLiteral("qzlogger %1 --help").arg(invocation.command);
}

bool parseOptions(const Invocation& invocation, const QStringList& names, Options& options)
{
    for (int index = 0; index < invocation.words.size(); ++index) {
        const QString& word = invocation.words.at(index);
        // "-" names the operator log; no identification begins with a minus sign otherwise.
        if (!word.startsWith(QLatin1Char('-')) || word == QLatin1String("-")) {
            options.operands << word;
            continue;
        }
        const int equals = word.indexOf(QLatin1Char('='));
        const QString name =
            word.startsWith(QLatin1String("--")) ? word.mid(2, equals < 0 ? -1 : equals - 2) : QString();
        if (!names.contains(name)) {
            complain(invocation, QStringLiteral("unknown option %1: %2")
                                     .arg(word.left(equals < 0 ? -1 : equals), usageOf(invocation)));
            return false;
        }
        if (options.values.contains(name)) {
            complain(invocation,
                     QStringLiteral("--%1 is given twice: give it once: %2").arg(name, usageOf(invocation)));
            return false;
        }
        // The value may itself begin with a minus sign: "--from -1h".
        QString value;
        if (equals >= 0)
            value = word.mid(equals + 1);
        else if (index + 1 < invocation.words.size())
            value = invocation.words.at(++index);
        if (value.isEmpty()) {
            complain(invocation, QStringLiteral("--%1 wants a value: %2").arg(name, usageOf(invocation)));
            return false;
        }
        options.values.insert(name, value);
    }
    return true;
}

bool requireOptions(const Invocation& invocation, const Options& options, const QStringList& names)
{
    for (const QString& name : names) {
        if (!options.values.contains(name)) {
            complain(invocation, QStringLiteral("--%1 is missing: %2").arg(name, usageOf(invocation)));
            return false;
        }
    }
    return true;
}

bool parseRange(const Invocation& invocation, const Options& options, bool required, timespec& start,
                timespec& end)
{
    if (required && !requireOptions(invocation, options, {QStringLiteral("from"), QStringLiteral("to")}))
        return false;
    // One moment for both ends: "--from -1h --to now" is an hour to the nanosecond.
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto take = [&](const QString& name, timespec fallback, timespec& time) {
        if (!options.values.contains(name)) {
            time = fallback;
            return true;
        }
        const QString text = options.values.value(name);
        const std::optional<timespec> parsed = parseTime(text, now);
        if (!parsed) {
            complain(invocation,
                     QStringLiteral("unknown time %1 for --%2: give ISO 8601 (2025-11-22T10:00:00Z), a "
                                    "date, seconds since 1970, now, or a time back from now (-90s, -15m, "
                                    "-1h, -7d)")
                         .arg(text, name));
            return false;
        }
        time = *parsed;
        return true;
    };
    timespec earliest{};
    timespec latest{};
    latest.tv_sec = INT32_MAX;
    latest.tv_nsec = 999999999L;
    if (!take(QStringLiteral("from"), earliest, start) || !take(QStringLiteral("to"), latest, end))
        return false;
    if (isEarlier(end, start)) {
        complain(invocation, QStringLiteral("--from %1 is after --to %2: give the earlier time to --from")
                                 .arg(formatTime(start), formatTime(end)));
        return false;
    }
    return true;
}

bool parseCount(const Invocation& invocation, const QString& name, const QString& text, long long& count)
{
    bool ok = false;
    count = text.toLongLong(&ok);
    if (!ok || count < 1) {
        complain(invocation,
                 QStringLiteral("--%1 %2 is no count: give a whole number of 1 or more").arg(name, text));
        return false;
    }
    return true;
}

namespace {

// The least time between two updates of the progress line.
constexpr qint64 kProgressMilliseconds = 100;

} // namespace

Progress::Progress() : mShown(::isatty(::fileno(stderr)) != 0)
{
    mClock.start();
}

void Progress::show(const QString& text)
{
    if (!mShown || (mWidth > 0 && mClock.elapsed() < kProgressMilliseconds))
        return;
    mClock.restart();
    write(text);
}

void Progress::clear()
{
    if (mWidth > 0)
        write(QString());
    mWidth = 0;
}

void Progress::write(const QString& text)
{
    const QByteArray bytes = ('\r' + text.leftJustified(mWidth) + '\r').toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
    std::fflush(stderr);
    mWidth = static_cast<int>(text.size());
}

} // namespace qzcli
