#pragma once

#include <cstdint>

// The state word that the writer posts for all processes of the store. Five groups share the
// word, each holding one of its values or none; LoggerStateMachine changes one group at a time.
using LoggerState = int32_t;

// Group masks.
constexpr LoggerState LOGGER_STATE_BASE_MASK = 0x7;
constexpr LoggerState LOGGER_STATE_CARD_MASK = 0x60;
constexpr LoggerState LOGGER_STATE_RUN_MASK = 0xc18;
constexpr LoggerState LOGGER_STATE_ACCESS_MASK = 0x300;
constexpr LoggerState LOGGER_STATE_RESET_MASK = 0x3000;

// Base group. Startup is the whole word 0, not a value of the group.
constexpr LoggerState LOGGER_STATE_STARTUP = 0;
constexpr LoggerState LOGGER_STATE_DISABLED = 1;
constexpr LoggerState LOGGER_STATE_DB_FAILED = 2;
constexpr LoggerState LOGGER_STATE_DB_INITIALIZED = 3;
constexpr LoggerState LOGGER_STATE_LOGGER_FAILED = 4;
constexpr LoggerState LOGGER_STATE_LOGGER_INITIALIZED = 5;

// Card group.
constexpr LoggerState LOGGER_STATE_SD_MOUNTED = 32;
constexpr LoggerState LOGGER_STATE_SD_EJECT = 64;
constexpr LoggerState LOGGER_STATE_SD_CORRUPT = 96;

// Run group.
constexpr LoggerState LOGGER_STATE_LOGGERS_STARTED = 8;
constexpr LoggerState LOGGER_STATE_LOGGERS_STOPPED = 16;
constexpr LoggerState LOGGER_STATE_LOGGERS_STARTING = 1024;
constexpr LoggerState LOGGER_STATE_LOGGERS_STOPPING = 2048;

// Access group.
constexpr LoggerState LOGGER_STATE_LOGGERS_READABLE = 256;
constexpr LoggerState LOGGER_STATE_LOGGERS_NOT_READABLE = 512;

// Reset group.
constexpr LoggerState LOGGER_STATE_RESETTING = 4096;
constexpr LoggerState LOGGER_STATE_RESETTED = 8192;
