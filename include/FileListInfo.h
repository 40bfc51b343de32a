#pragma once

#include <cstdint>

// What a file-list builder of LoggerApiBase reports about the files it selected. The caller
// creates it with every field 0 except itemSize, passes it by reference and reads it after
// the call. Sizes are in bytes, in terms of itemSize.
struct FileListInfo {
    int32_t totalSize = 0;    // bytes of all selected items
    int32_t startItem = 0;    // first item to read in the oldest listed file; 0 from its start
    int32_t itemSize = 0;     // sizeof the record the caller reads; set by the caller only
    int32_t selectedSize = 0; // totalSize after the walk of getItemFileList
};
