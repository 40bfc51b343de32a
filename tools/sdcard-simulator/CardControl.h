#pragma once

#include <QDBusContext>
#include <QObject>
#include <QString>

class SimulatedCard;
class SimulatorNames;

// The run-time control of the simulator, object /qz/sdcard/control, interface
// qz.SDCard1.Control, reached through the name qz.SDCard1.Simulator, which stays while the card
// is away. Setters change what the card reports from the next read on and send no signal; the
// Emit calls send one signal of qz.SDCard1 and change nothing else, apart from
// EmitMemStateChanged, which also stores the value as MemState. The card events Eject, Mount and
// Corrupt set State before they send their signal, so that a client that reads State on the
// signal sees the new state. Control calls are answered in every reply mode of the card.
class CardControl : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "qz.SDCard1.Control")
public:
    static constexpr const char* kObjectPath = "/qz/sdcard/control";

    // card and names are not owned and outlive this object.
    CardControl(SimulatedCard* card, SimulatorNames* names, QObject* parent = nullptr);

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
    // State 4 (unmounted), then EjectPressed.
    Q_SCRIPTABLE void Eject();
    // State 3 (mounted), then CardMounted.
    Q_SCRIPTABLE void Mount();
    // State 2 (not mountable), then CardCorrupt.
    Q_SCRIPTABLE void Corrupt();
    // Stores MemState and sends MemStateChanged; EmitMemStateChanged does the same.
    Q_SCRIPTABLE void SetMemState(int state);
    // Gives up the name qz.SDCard1; the simulator keeps running and keeps its state.
    Q_SCRIPTABLE void Disappear();
    // Owns qz.SDCard1 again; fails where another connection owns it meanwhile.
    Q_SCRIPTABLE void Reappear();
    // "normal", "error" or "silent"; any other name is refused and changes nothing.
    Q_SCRIPTABLE void SetReplyMode(const QString& mode);
    // Answers, then leaves the bus and ends the program.
    Q_SCRIPTABLE void Quit();

private:
    SimulatedCard* mCard;
    SimulatorNames* mNames;
};
