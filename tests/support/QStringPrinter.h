#pragma once

#include <QString>

#include <ostream>

// Readable failures for QString comparisons, and for lists of them, in GoogleTest's messages.
QT_BEGIN_NAMESPACE
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << "\"" << text.toStdString() << "\"";
}
QT_END_NAMESPACE
