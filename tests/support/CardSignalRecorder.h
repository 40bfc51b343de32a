#pragma once

#include <QMutex>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QWaitCondition>

class CardSignalReceiver;

// A client of the card service as the store's card client is one: on a thread of its own that
// runs its own event loop, it opens QDBusConnection::systemBus(), watches the name qz.SDCard1
// with a QDBusServiceWatcher and connects to the signals of /qz/sdcard. It writes down what it
// sees, one text per event, in the order of arrival:
//   "EjectPressed State=4"             a signal without arguments, with the State that a Get
//   "CardMounted State=3"              of the client answered when the signal came ("State=?"
//   "CardCorrupt State=2"              where the Get failed)
//   "MemStateChanged 2 MemState=2"     the argument, and MemState read when it came
//   "NameOwnerChanged ':1.4' ''"       the old and the new owner of qz.SDCard1
//
// Nothing of the process may have opened the default system bus on the main thread before
// start(): Qt then holds back every signal of the process.
class CardSignalRecorder {
public:
    static constexpr int kTimeoutMs = 10000;

    CardSignalRecorder() = default;
    ~CardSignalRecorder();
    CardSignalRecorder(const CardSignalRecorder&) = delete;
    CardSignalRecorder& operator=(const CardSignalRecorder&) = delete;

    // Starts the thread and connects; returns once the bus has taken the subscriptions, so that
    // no event that a test causes afterwards is missed. False with errorString() otherwise.
    bool start();
    // Disconnects on the thread and ends it; the destructor does the same.
    void stop();

    // Waits until event has been written down; false at the deadline.
    bool waitForEvent(const QString& event, int timeoutMs = kTimeoutMs);
    // Waits until at least count events have been written down.
    bool waitForEventCount(int count, int timeoutMs = kTimeoutMs);
    QStringList events() const;
    // Forgets the events written down so far.
    void clear();
    QString errorString() const { return mError; }

    // Called by the receiver on its thread.
    void record(const QString& event);

private:
    QThread mThread;
    CardSignalReceiver* mReceiver = nullptr; // lives on mThread and is deleted there
    mutable QMutex mMutex;                   // guards mEvents
    QWaitCondition mEventAdded;
    QStringList mEvents;
    QString mError;
};
