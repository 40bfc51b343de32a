#pragma once

#include <QString>
#include <QStringList>

// Runs a program to its end, with its standard output and error merged into output, trimmed;
// the answer is its exit code, or -1 where it did not start, did not end within 30 s (then it is
// killed and output says why) or crashed.
int runProgram(const QString& program, const QStringList& arguments, QString& output);
