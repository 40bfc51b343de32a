#pragma once

#include "TestLogger.h"

#include <gtest/gtest.h>

#include <memory>

// A started mean logger whose files take one block of ten 16-byte items each, with `files` files
// written, a block a minute from `start`. The quota tests need loggers with several files.
struct LoggerWithFiles {
    static constexpr int kItemSize = 16;
    static constexpr int kItemsPerFile = 10;
    static constexpr int kFileBytes = 44 + kItemsPerFile * kItemSize; // header and ten items

    static std::unique_ptr<TestLogger> make(const QString& id, int files, int32_t start,
                                            LoggerDataType dataType = LoggerDataType::MEAN)
    {
        auto logger = std::make_unique<TestLogger>(id, kItemSize, LoggerType::CYCLIC, dataType);
        // A file that has reached its size limit takes no further block: one block per file.
        logger->setMaximumFileSize(kFileBytes - 1);
        EXPECT_TRUE(logger->startLogger());
        for (int file = 0; file < files; ++file)
            EXPECT_TRUE(write(*logger, start + file * 60)) << file;
        EXPECT_EQ(logger->getFileListSize(), files);
        return logger;
    }

    // One block of ten items a second apart from `start`.
    static bool write(TestLogger& logger, int32_t start)
    {
        const QByteArray block = testItems(testSeconds(start, kItemsPerFile), kItemSize);
        return logger.writeDatas(block.constData(), kItemsPerFile, true, true) != nullptr;
    }
};
