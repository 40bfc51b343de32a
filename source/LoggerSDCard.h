#pragma once

#include "LoggerSdcState.h"
#include "TrackObject.h"

#include <QString>
#include <QtGlobal>

class DBusSDCard1Interface;
class QDBusConnection;
class QVariant;

// The store's client of the SD-card service "qz.SDCard1" on the system bus: it learns from the
// service the card's state, its mount point, and the folder and size of the logger's partition.
// The read operations ask the service and store the answer; the get operations return what was
// stored last. The object keeps a proxy of the service while the service is there and a null
// pointer otherwise. The state fields take no lock. Log lines go to the category
// "Logger.Sdcard"; errors count into TrackObject's error counter.
class LoggerSDCard : public TrackObject {
public:
    // A new client, or null where memory is short. The caller owns it.
    static LoggerSDCard* createInstance();

    ~LoggerSDCard() override;
    LoggerSDCard(const LoggerSDCard&) = delete;
    LoggerSDCard& operator=(const LoggerSDCard&) = delete;

    // The connection that the proxy is made on: the system bus.
    static QDBusConnection getBus();

    // Brings up the proxy of the service on the system bus, drops an earlier one, marks the
    // client initialized and reads state, mount point, logger path and logger size. False,
    // with everything left as it was, where the bus is not there, the service is not
    // registered on it, or the proxy cannot be made.
    bool initializeInterface();
    // Deletes the proxy; the stored values stay.
    void releaseInterface();

    LoggerSdcState getSdState() const;
    void SetSdState(LoggerSdcState state);
    // True only in SDC_MOUNTED.
    bool isSDCardMounted() const;
    QString getMountPoint() const;
    QString getLoggerPath() const;
    qint64 getLoggerSize() const;
    // Set once the proxy has come up.
    bool isInitialized() const;

    // Ask the service and store the answer. readState reads the property State, and a value that
    // is no integer stores SDC_NOT_INITIALIZED; readMountPoint reads the property MountPoint;
    // readLoggerPath and readLoggerSize call GetDirPath("logger") and GetDirSize("logger"). A
    // failed call stores and returns what a missing answer converts to: 0 or an empty text.
    // Without a proxy nothing is asked and nothing stored: readState returns the stored state,
    // the others an empty text or 0.
    LoggerSdcState readState();
    QString readMountPoint();
    QString readLoggerPath();
    qint64 readLoggerSize();

    static QString getSdcardStateString(LoggerSdcState state);

private:
    LoggerSDCard();

    // The value of one property of the service; invalid where the call failed.
    QVariant readProperty(const QString& name) const;

    LoggerSdcState mState = SDC_NOT_INITIALIZED;
    QString mMountPoint;
    QString mLoggerPath;
    qint64 mLoggerSize = 0; // bytes
    const QString mServiceName;
    const QString mObjectPath;
    DBusSDCard1Interface* mInterface = nullptr; // owned; null while the service is absent
    bool mInitialized = false;
};
