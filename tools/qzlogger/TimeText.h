#pragma once

#include <QByteArray>
#include <QString>

#include <ctime>
#include <optional>

// The times of the command line: what the tool prints and what it takes. It prints ISO 8601 in
// UTC with nanoseconds, "2024-05-01T10:00:00.000000000Z", so that two items a nanosecond apart
// print apart and a printed time can be given back as it stands.
namespace qzcli {

// The text of a time: ISO 8601, UTC, nine digits of fraction. Nanoseconds outside a second are
// carried into the seconds first.
QString formatTime(const timespec& time);
// The same text appended to out, for a time per item.
void appendTime(const timespec& time, QByteArray& out);

// The same, or "-" for a time of zero, which the store uses for one it does not know.
QString formatTimeOrNone(const timespec& time);

// A time as a user writes it; nothing where the text is none of these:
//   - ISO 8601 with a date and a time ("2024-05-01T10:00:00", a blank for the T is fine),
//     seconds and a fraction of up to nine digits optional, "Z" or an offset ("+02:00",
//     "+0200") at the end; without a zone the time is UTC;
//   - a date alone ("2024-05-01"), the start of that day in UTC;
//   - seconds since 1970 ("1714557600");
//   - "now", or a time back from now: a minus sign, a whole number and a unit, s, m, h or d
//     ("-90s", "-15m", "-1h", "-7d").
// `now` is the moment "now" and the times back from it stand for.
std::optional<timespec> parseTime(const QString& text, const timespec& now);

// The same against the system's clock.
std::optional<timespec> parseTime(const QString& text);

// a is earlier than b.
bool isEarlier(const timespec& a, const timespec& b);

} // namespace qzcli
