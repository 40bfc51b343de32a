#include "ConfigurationText.h"

#include <QFile>
#include <QList>
#include <gtest/gtest.h>

namespace {

const char* const kCompleteConfiguration = R"(<?xml version="1.0" encoding="UTF-8"?>
<dataBase>
  <dropSchema value="false"/>
  <targetPath value="/media/card"/>
  <desktopPath value="/home/qz/Desktop"/>
  <fileDir value="files"/>
  <dbName value="catalogue.db"/>
  <memory>
    <cyclicMean value="21"/>
    <cyclicVtq value="2.5"/>
    <cyclicDtq value="12"/>
    <eventAlarm value="18"/>
    <eventOperator value="9"/>
    <eventQuality value="4"/>
    <eventSignal value="6"/>
    <disturbRms value="4.5"/>
    <disturbDigital value="1"/>
    <disturbSamples value="2"/>
    <disturbSignals value="3.5"/>
    <cyclicHistogram value="11"/>
    <cyclicHarmonics value="7"/>
    <cyclicStatistic value="0.2"/>
    <cyclicComplexArray value="0.3"/>
    <cyclicPrevailingArray value="0.4"/>
    <cyclicContributionArray value="0.6"/>
    <cyclicMeanArray value="0.8"/>
  </memory>
</dataBase>
)";

} // namespace

ConfigurationText::ConfigurationText() : mText(kCompleteConfiguration)
{
}

int ConfigurationText::lineOf(const char* element) const
{
    const QList<QByteArray> lines = mText.split('\n');
    const QByteArray start = QByteArray("<") + element;
    for (int index = 0; index < lines.size(); ++index) {
        const QByteArray line = lines.at(index).trimmed();
        if (line.startsWith(start + ' ') || line.startsWith(start + '/') || line.startsWith(start + '>'))
            return index;
    }
    ADD_FAILURE() << "the configuration has no element " << element;
    return -1;
}

ConfigurationText& ConfigurationText::without(const char* element)
{
    QList<QByteArray> lines = mText.split('\n');
    const int index = lineOf(element);
    if (index >= 0)
        lines.removeAt(index);
    mText = lines.join('\n');
    return *this;
}

ConfigurationText& ConfigurationText::set(const char* element, const QByteArray& value)
{
    QList<QByteArray> lines = mText.split('\n');
    const int index = lineOf(element);
    if (index >= 0)
        lines[index] = QByteArray("  <") + element + " value=\"" + value + "\"/>";
    mText = lines.join('\n');
    return *this;
}

ConfigurationText& ConfigurationText::replace(const QByteArray& before, const QByteArray& after)
{
    mText.replace(before, after);
    return *this;
}

bool ConfigurationText::writeTo(const QString& file) const
{
    QFile output(file);
    if (!output.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return output.write(mText) == mText.size() && output.flush();
}
