#include <qzlogger.h>

#include <cstdio>

namespace {

// A typed logger as a host's writer declares one. It is never started here: declaring it makes
// the program link every virtual operation of the logger and its cache from the package.
class ConsumerLogger : public LoggerTemplate<DataMean> {
public:
    ConsumerLogger() : LoggerTemplate<DataMean>(LoggerType::CYCLIC, LoggerDataType::MEAN) {}
    QString getLoggerName() override { return QStringLiteral("ConsumerLogger"); }
    QString getConfiguratedMeasuredTypeId() override
    {
        return QStringLiteral("mean_3s.consumer.out.mean_out");
    }
};

} // namespace

int main(int argc, char**)
{
    const int size = LoggerFileSystem::getDataItemSize(LoggerDataType::MEAN);
    std::printf("installed package: a MEAN item has %d bytes\n", size);
    if (argc > 1) {
        // Only linked, not run: the typed read of the read frame, a writer's logger and the
        // event alarm log of the library.
        auto read = &LoggerApiBase::getValues<DataMean, void*>;
        ConsumerLogger logger;
        std::printf("%p %d\n", reinterpret_cast<void*>(&read), logger.getDataBlockSize());
        LoggerEventAlarm alarm;
        alarm.setLoggerName("consumer.alarm");
        DataEvent event{};
        std::printf("%d %d\n", alarm.updateEventStrings({"consumer started"}) ? 1 : 0,
                    alarm.logEventItem(event, QStringLiteral("consumer started")) ? 1 : 0);
    }
    return size == 24 ? 0 : 1;
}
