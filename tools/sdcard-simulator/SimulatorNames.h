#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

// The two names that the simulator owns on the bus: the card service's name qz.SDCard1, which
// Disappear gives up and Reappear takes again, and qz.SDCard1.Simulator, which it holds for its
// whole life, so that the control object stays reachable while the card is away.
//
// Every simulator owns its names allowing replacement, so that a second one started with
// --replace can take them over; losing either name to another owner emits replaced() once.
// The object lives on the main thread, which runs the event loop that delivers NameLost.
class SimulatorNames : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kCardServiceName = "qz.SDCard1";
    static constexpr const char* kControlServiceName = "qz.SDCard1.Simulator";

    // replaceExisting: take the names from their present owners instead of failing.
    SimulatorNames(const QDBusConnection& bus, bool replaceExisting, QObject* parent = nullptr);
    SimulatorNames(const SimulatorNames&) = delete;
    SimulatorNames& operator=(const SimulatorNames&) = delete;

    // Takes the card's name first and then the control name, so that a replacing simulator
    // takes qz.SDCard1 straight from its owner: its clients see one change of owner rather than
    // the name going and coming back. False with errorString() where either is not owned.
    bool acquire();
    // Gives up qz.SDCard1; true also where it was not owned.
    bool releaseCard();
    // Owns qz.SDCard1 again, without taking it from another owner; true also where it is owned.
    bool acquireCard();
    // Gives up whichever names are still owned. The calls wait for the bus, so that replies
    // sent before, the one to Quit among them, have gone out when this returns.
    void releaseAll();

    bool ownsCard() const { return mOwnsCard; }
    QString errorString() const { return mError; }

signals:
    // name went to newOwner (empty where that owner has left the bus already).
    void replaced(const QString& name, const QString& newOwner);

private slots:
    void nameLost(const QString& name);

private:
    bool request(const QString& name, bool replaceExisting);
    bool release(const QString& name);

    QDBusConnection mBus;
    bool mReplaceExisting;
    bool mOwnsCard = false;
    bool mOwnsControl = false;
    bool mReplaced = false;
    QString mError;
};
