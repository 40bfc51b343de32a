#include "ImmutableFile.h"

#include "RunProgram.h"

ImmutableFile::ImmutableFile(const QString& path) : mPath(path)
{
    QString output;
    mSet = runProgram(QStringLiteral("chattr"), {QStringLiteral("+i"), mPath}, output) == 0;
    if (!mSet)
        mError = QStringLiteral("chattr +i %1: %2").arg(mPath, output);
}

ImmutableFile::~ImmutableFile()
{
    if (!mSet)
        return;
    QString output;
    runProgram(QStringLiteral("chattr"), {QStringLiteral("-i"), mPath}, output);
}
