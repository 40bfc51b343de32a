// CheckMountPath: whether a folder counts as mounted, decided from a mount table. The tables
// are files of the test in a fresh temporary root, written in the format of the kernel's
// /proc/self/mountinfo.

#include "CheckMountPath.h"
#include "FileFaults.h"
#include "TemporaryStoreRoot.h"

#include <QFile>
#include <QString>
#include <gtest/gtest.h>

namespace {

const QByteArray kRootLine = "22 1 179:2 / / rw,relatime shared:1 - ext4 /dev/mmcblk0p2 rw\n";
const QByteArray kProcLine = "23 22 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - proc proc rw\n";
const QByteArray kCardLine =
    "36 22 179:33 / /media/sdcard rw,relatime shared:20 - vfat /dev/mmcblk1p1 rw,fmask=0022\n";
const QByteArray kSecondCardLine =
    "37 22 179:49 / /media/sdcard2 rw,relatime shared:21 - vfat /dev/mmcblk2p1 rw,fmask=0022\n";

class CheckMountPathTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(mRoot.isValid()); }

    // A mount table of the test with the given content.
    QString writeTable(const QByteArray& content)
    {
        const QString path = mRoot.filePath(QStringLiteral("mountinfo"));
        EXPECT_TRUE(FileFaults::writeAll(path, content));
        return path;
    }

    bool isMounted(const QString& path, const QString& table)
    {
        CheckMountPath check;
        check.setPath(path);
        check.setMountInfo(table);
        return check.isMounted();
    }

    TemporaryStoreRoot mRoot;
};

TEST_F(CheckMountPathTest, DefaultPathIsTheCardsMountPoint)
{
    EXPECT_EQ(CheckMountPath().getPath(), QStringLiteral("/media/sdcard"));
}

TEST_F(CheckMountPathTest, PathIsTheOneSetLast)
{
    CheckMountPath check(QStringLiteral("/mnt/first"));
    EXPECT_EQ(check.getPath(), QStringLiteral("/mnt/first"));
    check.setPath(QStringLiteral("/mnt/second"));
    EXPECT_EQ(check.getPath(), QStringLiteral("/mnt/second"));
}

// Without setMountInfo the kernel's table of this process is read: /proc is mounted on every
// Linux system, a made-up folder is not, and /var/log counts only because the table exists.
TEST_F(CheckMountPathTest, DefaultMountTableIsTheKernelsTableOfThisProcess)
{
    ASSERT_TRUE(QFile::exists(QStringLiteral("/proc/self/mountinfo")));
    EXPECT_TRUE(CheckMountPath(QStringLiteral("/proc")).isMounted());
    EXPECT_TRUE(CheckMountPath(QStringLiteral("/var/log/qzlogger")).isMounted());
    EXPECT_FALSE(CheckMountPath(QStringLiteral("/qzlogger-test/no/such/mount")).isMounted());
}

TEST_F(CheckMountPathTest, PathOnALineOfTheTableIsMounted)
{
    const QString table = writeTable(kRootLine + kProcLine + kCardLine);
    EXPECT_TRUE(isMounted(QStringLiteral("/media/sdcard"), table));
}

TEST_F(CheckMountPathTest, PathOnNoLineOfTheTableIsNotMounted)
{
    const QString table = writeTable(kRootLine + kProcLine);
    EXPECT_FALSE(isMounted(QStringLiteral("/media/sdcard"), table));
}

TEST_F(CheckMountPathTest, LastLineWithoutLineEndIsRead)
{
    QByteArray content = kRootLine + kCardLine;
    content.chop(1);
    const QString table = writeTable(content);
    EXPECT_TRUE(isMounted(QStringLiteral("/media/sdcard"), table));
}

TEST_F(CheckMountPathTest, EmptyTableMountsNothing)
{
    const QString table = writeTable(QByteArray());
    EXPECT_FALSE(isMounted(QStringLiteral("/media/sdcard"), table));
    EXPECT_FALSE(isMounted(QStringLiteral("/"), table));
}

TEST_F(CheckMountPathTest, VarLogIsMountedWithoutAMatchingLineWhereTheTableExists)
{
    const QString table = writeTable(kRootLine + kCardLine);
    EXPECT_TRUE(isMounted(QStringLiteral("/var/log"), table));
    EXPECT_TRUE(isMounted(QStringLiteral("/var/log/qzlogger"), table));
    // "/var/log" anywhere in the path is enough.
    EXPECT_TRUE(isMounted(QStringLiteral("/data/var/log/qzlogger"), table));
}

TEST_F(CheckMountPathTest, VarLogIsMountedEvenWithAnEmptyTable)
{
    const QString table = writeTable(QByteArray());
    EXPECT_TRUE(isMounted(QStringLiteral("/var/log"), table));
}

TEST_F(CheckMountPathTest, LongerMountPointThatBeginsWithThePathMatches)
{
    const QString table = writeTable(kRootLine + kSecondCardLine);
    EXPECT_TRUE(isMounted(QStringLiteral("/media/sdcard"), table));
}

TEST_F(CheckMountPathTest, PathMatchesAnywhereInALine)
{
    const QString table = writeTable(kRootLine + kCardLine);
    // Part of a mount point, and the device in the mount source field.
    EXPECT_TRUE(isMounted(QStringLiteral("/media/sd"), table));
    EXPECT_TRUE(isMounted(QStringLiteral("/dev/mmcblk1p1"), table));
}

TEST_F(CheckMountPathTest, WithoutATableNothingIsMountedNotEvenVarLog)
{
    const QString missing = mRoot.filePath(QStringLiteral("no-such-mountinfo"));
    ASSERT_FALSE(QFile::exists(missing));
    EXPECT_FALSE(isMounted(QStringLiteral("/media/sdcard"), missing));
    EXPECT_FALSE(isMounted(QStringLiteral("/var/log"), missing));
    EXPECT_FALSE(isMounted(QStringLiteral("/var/log/qzlogger"), missing));
    EXPECT_FALSE(isMounted(QStringLiteral("/"), missing));
}

} // namespace
