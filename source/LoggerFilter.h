#pragma once

// The base of a selection of data files. It selects nothing yet; the class is kept so that a
// selection can be added without changing those who hold one.
class LoggerFilter {
public:
    LoggerFilter() = default;
    virtual ~LoggerFilter();
};
