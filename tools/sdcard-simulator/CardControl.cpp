#include "CardControl.h"

#include "SimulatedCard.h"

#include <QCoreApplication>
#include <QTimer>

CardControl::CardControl(SimulatedCard* card, QObject* parent) : QObject(parent), mCard(card)
{
}

void CardControl::SetState(int state)
{
    mCard->setState(state);
}

void CardControl::SetStateRaw(const QString& state)
{
    mCard->setStateRaw(state);
}

void CardControl::SetMountPoint(const QString& mountPoint)
{
    mCard->setMountPoint(mountPoint);
}

void CardControl::SetLoggerPath(const QString& loggerPath)
{
    mCard->setLoggerPath(loggerPath);
}

void CardControl::SetLoggerSize(qlonglong bytes)
{
    mCard->setLoggerSize(bytes);
}

void CardControl::EmitEjectPressed()
{
    mCard->emitSignal(QStringLiteral("EjectPressed"));
}

void CardControl::EmitCardMounted()
{
    mCard->emitSignal(QStringLiteral("CardMounted"));
}

void CardControl::EmitCardCorrupt()
{
    mCard->emitSignal(QStringLiteral("CardCorrupt"));
}

void CardControl::EmitMemStateChanged(int state)
{
    mCard->setMemState(state);
    mCard->emitSignal(QStringLiteral("MemStateChanged"), {state});
}

// The reply to Quit goes out before the event loop ends, since the loop is left only from the
// next round of events.
void CardControl::Quit()
{
    QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
}
