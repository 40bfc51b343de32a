#include "Options.h"

#include "TimeText.h"

#include <climits>
#include <cstdio>
#include <unistd.h>

namespace qzcli {

bool parseOptions(const Invocation& invocation, const QStringList& names, Options& options)
{
    const QString usage = QStringLiteral("see qzlogger %1 --help").arg(invocation.command);
    for (int index = 0; index < invocation.words.size(); ++index) {
        const QString& word = invocation.words.at(index);
        if (!word.startsWith(QLatin1String("--"))) {
            options.operands << word;
            continue;
        }
        const int equals = word.indexOf(QLatin1Char('='));
        const QString name = word.mid(2, equals < 0 ? -1 : equals - 2);
        if (!names.contains(name)) {
            complain(invocation,
                     QStringLiteral("unknown option %1: %2").arg(word.left(equals < 0 ? -1 : equals), usage));
            return false;
        }
        if (options.values.contains(name)) {
            complain(invocation, QStringLiteral("--%1 is given twice: give it once").arg(name));
            return false;
        }
        QString value;
        if (equals >= 0) {
            value = word.mid(equals + 1);
        } else if (index + 1 < invocation.words.size()) {
            value = invocation.words.at(++index);
        }
        if (value.isEmpty()) {
            complain(invocation, QStringLiteral("--%1 wants a value: %2").arg(name, usage));
            return false;
        }
        options.values.insert(name, value);
    }
    return true;
}

bool parseRange(const Invocation& invocation, const Options& options, bool required, timespec& start,
                timespec& end)
{
    const auto take = [&](const char* name, timespec fallback, timespec& time) {
        const QString key = QString::fromLatin1(name);
        if (!options.values.contains(key)) {
            if (required) {
                complain(invocation,
                         QStringLiteral("wants --%1 T: see qzlogger %2 --help").arg(key, invocation.command));
                return false;
            }
            time = fallback;
            return true;
        }
        const std::optional<timespec> parsed = parseTime(options.values.value(key));
        if (!parsed) {
            complain(invocation,
                     QStringLiteral("--%1 %2 is no time: give ISO 8601 such as 2024-05-01T10:00:00Z, "
                                    "seconds since 1970, now, or -90s, -15m, -1h, -7d")
                         .arg(key, options.values.value(key)));
            return false;
        }
        time = *parsed;
        return true;
    };
    timespec earliest{};
    timespec latest{};
    latest.tv_sec = INT32_MAX;
    latest.tv_nsec = 999999999L;
    if (!take("from", earliest, start) || !take("to", latest, end))
        return false;
    if (isEarlier(end, start)) {
        complain(invocation, QStringLiteral("--from %1 lies after --to %2: give the earlier time with --from")
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
