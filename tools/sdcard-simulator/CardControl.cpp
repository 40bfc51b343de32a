#include "CardControl.h"

#include "SimulatedCard.h"
#include "SimulatorNames.h"

#include <QCoreApplication>
#include <QDBusError>
#include <QTimer>

namespace {

// The states of the card service's property State that the card events set.
constexpr int kNotMountable = 2;
constexpr int kMounted = 3;
constexpr int kUnmounted = 4;

} // namespace

CardControl::CardControl(SimulatedCard* card, SimulatorNames* names, QObject* parent)
    : QObject(parent), mCard(card), mNames(names)
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

void CardControl::Eject()
{
    mCard->setState(kUnmounted);
    mCard->emitSignal(QStringLiteral("EjectPressed"));
}

void CardControl::Mount()
{
    mCard->setState(kMounted);
    mCard->emitSignal(QStringLiteral("CardMounted"));
}

void CardControl::Corrupt()
{
    mCard->setState(kNotMountable);
    mCard->emitSignal(QStringLiteral("CardCorrupt"));
}

void CardControl::SetMemState(int state)
{
    EmitMemStateChanged(state);
}

void CardControl::Disappear()
{
    if (!mNames->releaseCard())
        sendErrorReply(QDBusError::Failed, mNames->errorString());
}

void CardControl::Reappear()
{
    if (!mNames->acquireCard())
        sendErrorReply(QDBusError::Failed, mNames->errorString());
}

void CardControl::SetReplyMode(const QString& mode)
{
    SimulatedCard::ReplyMode replyMode;
    if (!SimulatedCard::replyModeFromName(mode, &replyMode)) {
        sendErrorReply(QDBusError::InvalidArgs,
                       QStringLiteral("unknown reply mode '%1' (known: %2)")
                           .arg(mode, SimulatedCard::replyModeNames().join(QStringLiteral(", "))));
        return;
    }
    mCard->setReplyMode(replyMode);
}

// The reply to Quit goes out before the event loop ends, since the loop is left only from the
// next round of events.
void CardControl::Quit()
{
    QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
}
