#pragma once

#include "LoggerTypes.h"

#include <cstdint>
#include <string>
#include <utility>

// One text of the event alarm log, stored once and referred to by its Id from the events'
// items and from the list of its DefnEventType.
class DefnEventString {
public:
    DefnEventString() = default;
    explicit DefnEventString(std::string description, DataTimespec utc = {0, 0})
        : Utc(utc), Description(std::move(description))
    {
    }

    int32_t Id = 0;            // key of the row, given by the catalogue
    DataTimespec Utc = {0, 0}; // when the text was first used
    std::string Description;   // the bytes as the writer handed them in
};
