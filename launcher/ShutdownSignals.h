#ifndef SHUTDOWNSIGNALS_H
#define SHUTDOWNSIGNALS_H

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the main thread, so
// that the event loop can end normally and the launcher can release its
// single-instance name. One instance per process.
class ShutdownSignals : public QObject
{
    Q_OBJECT
public:
    explicit ShutdownSignals(QObject* apParent = nullptr);
    ~ShutdownSignals() override;

Q_SIGNALS:
    void sgShutdownRequested(int aSignal);

private:
    void mpOnSignalPending();

    QSocketNotifier* mvNotifier = nullptr;
};

#endif
