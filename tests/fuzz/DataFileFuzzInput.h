#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

// One input of the data-file fuzz target: a control block that chooses the operation of
// LoggerFileSystem and its arguments, followed by the bytes of the data file that it works on.
// The fuzz target and the program that makes the seed corpus share this layout; a change to it
// makes the checked-in corpus worthless, so the corpus is made anew with it.
//
// All words are little-endian 32-bit integers, as on the device.
namespace DataFileFuzzInput {

enum Operation : uint8_t {
    GetUtcPosition,
    GetBufferSize,
    GetNumItems,
    GetEventBufferSize,
    ReadUtcRange,
    ReadData,
    ReadSingleDataElements,
    ReadEventData,
    GetUniqueId,
    ReadHeaderOfFileInfo,
    ReadHeaderOfOpenFile,
    OpenFile,
    ReopenFile,
    UpdateData,
    FileCounts,
    WriteExportFile,
    OperationCount
};

enum Flag : uint8_t {
    Upper = 0x01,             // getUtcPosition's bound
    Create = 0x02,            // openFile's create
    RemoveFirst = 0x04,       // the file is removed before the operation: a missing file
    RawBlockSize = 0x08,      // blockSize is taken as it stands instead of from the table
    RawFileInfoSizes = 0x10,  // HeaderSize and DataBlockSize of the file info as they stand
    CallerSizedEvents = 0x20, // readEventData as a page read: count items that end at `end`
    NullFileInfo = 0x40,      // every operation with a null file info instead of the chosen one
};

// Block sizes that files have, and a few odd ones; chosen by blockSizeChoice unless RawBlockSize.
constexpr int32_t kBlockSizes[] = {24, 16, 32, 8, 1, 3, 4, 7, 9, 12, 44, 56, 64, 232, 2876, 10640};
constexpr int kBlockSizeChoices = static_cast<int>(sizeof(kBlockSizes) / sizeof(kBlockSizes[0]));

struct Control {
    uint8_t operation;       // an Operation, taken modulo OperationCount
    uint8_t flags;           // Flag bits
    uint8_t blockSizeChoice; // index into kBlockSizes, modulo its size
    uint8_t cutAtRead;       // 0, or the read of the operation at which the file is cut short
    int32_t startSec;        // start of a range; the time of getUtcPosition and the event reads
    int32_t startNsec;
    int32_t endSec; // end of a range
    int32_t endNsec;
    // maxItems, the event count, readHeader's and updateData's position, the unique id of a file
    // that openFile makes, writeData's count
    int32_t count;
    int32_t blockSize;     // with RawBlockSize
    int32_t headerSize;    // with RawFileInfoSizes: HeaderSize of the file info
    int32_t dataBlockSize; // with RawFileInfoSizes: DataBlockSize of the file info
    int32_t elementOffset; // readSingleDataElements
    int32_t elementSize;   // readSingleDataElements; updateData's size; writeData's item size
    int32_t item;          // firstItem of readEventData, itemIndex of openFile
    int32_t cutLength;     // the length the file is cut to at cutAtRead, modulo its size + 1
};

constexpr size_t kControlSize = 52;
static_assert(sizeof(Control) == kControlSize, "the control block has no padding");

inline Control controlOf(const uint8_t* data)
{
    Control control;
    std::memcpy(&control, data, sizeof(control));
    return control;
}

inline std::string inputOf(const Control& control, const std::string& fileBytes)
{
    std::string input(reinterpret_cast<const char*>(&control), sizeof(control));
    return input + fileBytes;
}

} // namespace DataFileFuzzInput
