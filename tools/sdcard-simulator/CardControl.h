#pragma once

#include <QObject>
#include <QString>

class SimulatedCard;

// The run-time control of the simulator, object /qz/sdcard/control, interface
// qz.SDCard1.Control. Setters change what the card reports from the next read on and send no
// signal; the Emit calls send one signal of qz.SDCard1 and change nothing else, apart from
// EmitMemStateChanged, which also stores the value as MemState.
class CardControl : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "qz.SDCard1.Control")
public:
    static constexpr const char* kObjectPath = "/qz/sdcard/control";

    explicit CardControl(SimulatedCard* card, QObject* parent = nullptr);

public slots:
    Q_SCRIPTABLE void SetState(int state);
    Q_SCRIPTABLE void SetStateRaw(const QString& state);
    Q_SCRIPTABLE void SetMountPoint(const QString& mountPoint);
    Q_SCRIPTABLE void SetLoggerPath(const QString& loggerPath);
    Q_SCRIPTABLE void SetLoggerSize(qlonglong bytes);
    Q_SCRIPTABLE void EmitEjectPressed();
    Q_SCRIPTABLE void EmitCardMounted();
    Q_SCRIPTABLE void EmitCardCorrupt();
    Q_SCRIPTABLE void EmitMemStateChanged(int state);
    // Answers, then leaves the bus and ends the program.
    Q_SCRIPTABLE void Quit();

private:
    SimulatedCard* mCard; // not owned; outlives this object
};
