#include "TimeText.h"

#include <QDate>
#include <QDateTime>
#include <QRegularExpression>
#include <QTime>

#include <cstdio>

namespace qzcli {

namespace {

constexpr long kNanosecondsPerSecond = 1000000000L;
constexpr int kFractionDigits = 9;

timespec makeTime(long long seconds, long nanoseconds)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = nanoseconds;
    return time;
}

// "2024-05-01", "T10:00", ":00", ".123", then "Z" or an offset.
const QRegularExpression& isoPattern()
{
    static const QRegularExpression pattern(QStringLiteral(
        "^(\\d{4})-(\\d{2})-(\\d{2})(?:[T ](\\d{2}):(\\d{2})(?::(\\d{2})(?:[.,](\\d{1,9}))?)?)?"
        "(Z|[+-]\\d{2}:?\\d{2})?$"));
    return pattern;
}

std::optional<timespec> parseIso(const QString& text)
{
    const QRegularExpressionMatch match = isoPattern().match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QDate date(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt());
    const bool hasTime = !match.captured(4).isEmpty();
    const QTime clock(hasTime ? match.captured(4).toInt() : 0, hasTime ? match.captured(5).toInt() : 0,
                      match.captured(6).isEmpty() ? 0 : match.captured(6).toInt());
    if (!date.isValid() || !clock.isValid())
        return std::nullopt;
    // A zone belongs to a time of day; a date alone is a day in UTC.
    const QString zone = match.captured(8);
    if (!hasTime && !zone.isEmpty())
        return std::nullopt;
    long long offsetSeconds = 0;
    if (!zone.isEmpty() && zone != QLatin1String("Z")) {
        QString digits = zone.mid(1);
        digits.remove(QLatin1Char(':'));
        const int hours = digits.left(2).toInt();
        const int minutes = digits.mid(2).toInt();
        if (hours > 23 || minutes > 59)
            return std::nullopt;
        offsetSeconds = (hours * 60LL + minutes) * 60LL * (zone.startsWith(QLatin1Char('-')) ? -1 : 1);
    }
    QString fraction = match.captured(7);
    fraction = fraction.leftJustified(kFractionDigits, QLatin1Char('0'));
    const long nanoseconds = match.captured(7).isEmpty() ? 0 : fraction.toLong();
    const long long seconds = QDateTime(date, clock, Qt::UTC).toSecsSinceEpoch() - offsetSeconds;
    return makeTime(seconds, nanoseconds);
}

std::optional<timespec> parseBack(const QString& text, const timespec& now)
{
    static const QRegularExpression pattern(QStringLiteral("^-(\\d{1,9})([smhd])$"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    long long unit = 1;
    switch (match.captured(2).at(0).toLatin1()) {
    case 'm': unit = 60; break;
    case 'h': unit = 3600; break;
    case 'd': unit = 86400; break;
    default: break;
    }
    return makeTime(static_cast<long long>(now.tv_sec) - match.captured(1).toLongLong() * unit, now.tv_nsec);
}

} // namespace

void appendTime(const timespec& time, QByteArray& out)
{
    long long seconds = time.tv_sec;
    long nanoseconds = time.tv_nsec;
    seconds += nanoseconds / kNanosecondsPerSecond;
    nanoseconds %= kNanosecondsPerSecond;
    if (nanoseconds < 0) {
        nanoseconds += kNanosecondsPerSecond;
        --seconds;
    }
    // gmtime_r, not QDateTime: a dump prints a time per item.
    const time_t whole = static_cast<time_t>(seconds);
    tm parts{};
    gmtime_r(&whole, &parts);
    char text[48];
    const int length = std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d.%09ldZ",
                                     parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                                     parts.tm_min, parts.tm_sec, nanoseconds);
    out.append(text, length);
}

QString formatTime(const timespec& time)
{
    QByteArray text;
    appendTime(time, text);
    return QString::fromLatin1(text);
}

QString formatTimeOrNone(const timespec& time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0 ? QStringLiteral("-") : formatTime(time);
}

std::optional<timespec> parseTime(const QString& text, const timespec& now)
{
    const QString trimmed = text.trimmed();
    if (trimmed == QLatin1String("now"))
        return now;
    static const QRegularExpression secondsPattern(QStringLiteral("^\\d{1,12}$"));
    if (secondsPattern.match(trimmed).hasMatch())
        return makeTime(trimmed.toLongLong(), 0);
    if (trimmed.startsWith(QLatin1Char('-')))
        return parseBack(trimmed, now);
    return parseIso(trimmed);
}

std::optional<timespec> parseTime(const QString& text)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return parseTime(text, now);
}

bool isEarlier(const timespec& a, const timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

} // namespace qzcli
