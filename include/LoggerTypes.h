#pragma once

#include <cstdint>
#include <ctime>

// The vocabulary every part of the store speaks: kinds of loggers, layouts of their items,
// message severities and the codes carried inside power-quality events. All are stored as
// 32-bit integers, in the catalogue as well as in the data files.

enum class LoggerType : int32_t {
    NONE = 0,
    CYCLIC = 1,
    EVENT = 2,
    PQEVENT = 3,
    DISTURB = 4,
    OPERATOR = 5,
};

// The layout of an item. MEAN_24 follows QMETER out of its family's order, and SAMPLES and
// SAMPLES16 share a file-name tag: both are part of the file format.
enum class LoggerDataType : int32_t {
    NONE = 0,
    VTQ = 1,
    DTQ = 2,
    MEAN = 3,
    EVENT = 4,
    PQEVENT = 5,
    OPERATOR = 6,
    DISTURB = 7,
    RMS = 8,
    SAMPLES = 9,
    SIGNALS = 10,
    SIGNALEVENT = 11,
    HISTOGRAM = 12,
    HARMONICS = 13,
    STATISTIC = 14,
    SAMPLES16 = 15,
    COMPLEX = 16,
    PREVAILING = 17,
    CONTRIBUTION = 18,
    ITQ = 19,
    DIGITAL = 20,
    PERCENTILE = 21,
    MEAN_7 = 22,
    MEAN_12 = 23,
    MEAN_14 = 24,
    MEAN_16 = 25,
    MEAN_20 = 26,
    MEAN_23 = 27,
    QMETER = 28,
    MEAN_24 = 29,
    SMETER = 30,
};

// Severity of LoggerDb::loggerMessage. Routine and trace texts produce no output at all;
// errors and fatals also count in TrackObject even where the log level filters them.
enum LoggerMessageType : int32_t {
    LOGGER_MESSAGE_ROUTINE = 0,
    LOGGER_MESSAGE_TRACE = 1,
    LOGGER_MESSAGE_INFO = 2,
    LOGGER_MESSAGE_WARN = 3,
    LOGGER_MESSAGE_ERROR = 4,
    LOGGER_MESSAGE_FATAL = 5,
};

// What started a power-quality event. The measuring side knows these by value and by the
// short texts of LoggerDebug::getTriggerTypeString only; value 6 has no meaning of its own.
enum EnumTriggerType : int32_t {
    TRIGGER_NONE = 0,
    TRIGGER_SWELL = 1,
    TRIGGER_DIP = 2,
    TRIGGER_INTERRUPTION = 3,
    TRIGGER_RVC = 4,
    TRIGGER_CURRENT_SWELL = 5,
    TRIGGER_SIGNALLING = 7,
    TRIGGER_CURRENT_POSITIVE = 8,
    TRIGGER_CURRENT_NEGATIVE = 9,
    TRIGGER_SHOT = 10,
    TRIGGER_TRUE_DIP = 11,
    TRIGGER_FALSE_DIP = 12,
    TRIGGER_UNKNOWN_DIP = 13,
    TRIGGER_TRANSIENT = 14,
    TRIGGER_FREQUENCY = 15,
    TRIGGER_DIGITAL_ON = 16,
    TRIGGER_DIGITAL_OFF = 17,
    TRIGGER_IMBALANCE = 18,
    TRIGGER_PST = 19,
    TRIGGER_PLT = 20,
    TRIGGER_THD = 21,
    TRIGGER_ANOMALY = 22,
    TRIGGER_FLAGS = 23,
};

// Bit mask of the channels that triggered an event: voltages on bits 0 to 2, currents on 7 to 9.
enum EnumPqEventSource : int32_t {
    SOURCE_U1 = 0x1,
    SOURCE_U2 = 0x2,
    SOURCE_U3 = 0x4,
    SOURCE_I1 = 0x80,
    SOURCE_I2 = 0x100,
    SOURCE_I3 = 0x200,
};

// The wiring of the measurement, known by value and text only.
enum EnumSystemType : int32_t {
    SYSTEM_1P = 1,
    SYSTEM_2P = 2,
    SYSTEM_3P = 3,
    SYSTEM_3PL1 = 4,
    SYSTEM_3PL2 = 5,
    SYSTEM_3PL3 = 6,
    SYSTEM_3PU = 7,
    SYSTEM_3PUA = 8,
    SYSTEM_4P = 9,
    SYSTEM_4PU = 10,
    SYSTEM_4PUOY = 11,
    SYSTEM_4PS = 12,
    SYSTEM_2PB = 13,
};

// A time stamp as it lies in an item record and in the data files: two signed 32-bit words,
// whatever width the host's timespec has. It converts to and from the host's timespec so that
// the time arithmetic can work on either; seconds beyond 32 bits are cut, as on the target.
struct DataTimespec {
    int32_t tv_sec;
    int32_t tv_nsec;

    operator timespec() const
    {
        timespec t{};
        t.tv_sec = tv_sec;
        t.tv_nsec = tv_nsec;
        return t;
    }
    DataTimespec& operator=(const timespec& t)
    {
        tv_sec = static_cast<int32_t>(t.tv_sec);
        tv_nsec = static_cast<int32_t>(t.tv_nsec);
        return *this;
    }
    static DataTimespec fromTimespec(const timespec& t)
    {
        DataTimespec d{};
        d = t;
        return d;
    }
};
static_assert(sizeof(DataTimespec) == 8, "a time stamp is two 32-bit words on disk");
