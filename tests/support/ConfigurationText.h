#pragma once

#include <QByteArray>
#include <QString>

// The text of a storage configuration ("database.xml") for tests: every setting, one element to
// a line, each with a value of its own that differs from the built-in quota of its families:
//
//   dropSchema false, targetPath "/media/card", desktopPath "/home/qz/Desktop", fileDir "files",
//   dbName "catalogue.db"; below memory: cyclicMean 21, cyclicVtq 2.5, cyclicDtq 12,
//   eventAlarm 18, eventOperator 9, eventQuality 4, eventSignal 6, disturbRms 4.5,
//   disturbDigital 1, disturbSamples 2, disturbSignals 3.5, cyclicHistogram 11,
//   cyclicHarmonics 7, cyclicStatistic 0.2, cyclicComplexArray 0.3, cyclicPrevailingArray 0.4,
//   cyclicContributionArray 0.6, cyclicMeanArray 0.8.
//
// The changes return the object, so that they chain: ConfigurationText().without("targetPath").
class ConfigurationText {
public:
    ConfigurationText();
    // Any other text, for files that are no complete configuration.
    explicit ConfigurationText(const QByteArray& text) : mText(text) {}

    // Drops the line of the element of that name.
    ConfigurationText& without(const char* element);
    // Gives the element of that name another value attribute.
    ConfigurationText& set(const char* element, const QByteArray& value);
    // Replaces every occurrence of a part of the text.
    ConfigurationText& replace(const QByteArray& before, const QByteArray& after);

    QByteArray bytes() const { return mText; }
    // Writes the text into the file, which is made or replaced; false where it cannot.
    bool writeTo(const QString& file) const;

private:
    // The index of the line that holds the element's start tag; -1, and a failure of the test,
    // where none does.
    int lineOf(const char* element) const;

    QByteArray mText;
};
