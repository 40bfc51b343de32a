#include <qzlogger.h>

#include <cstdio>

int main()
{
    const int size = LoggerFileSystem::getDataItemSize(LoggerDataType::MEAN);
    std::printf("installed package: a MEAN item has %d bytes\n", size);
    return size == 24 ? 0 : 1;
}
