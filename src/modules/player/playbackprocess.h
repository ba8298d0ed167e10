// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QProcess>
#include <QTimer>
#include <QVariantHash>

// The program plix-playback, which takes and gives lines of JSON (src/playback/playbackcontrol.h).
// Started when there is something to say to it. It ends with this object.
class PlaybackProcess : public QObject {
    Q_OBJECT

public:
    // While it is watched and says nothing for this long, it hangs.
    static constexpr int silenceMs = 8000;
    // At its first start GStreamer looks through all its plug-ins, which takes long on a small
    // device.
    static constexpr int startMs = 60000;

    PlaybackProcess(const QString& program, const QStringList& arguments,
                    const QProcessEnvironment& environment);
    ~PlaybackProcess() override;

    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    void start();
    void send(const QVariantHash& command);
    // Whether the program is asked for a sign of life from time to time.
    void setWatched(bool isWatched);

Q_SIGNALS:
    void received(const QVariantHash& report);
    // It has ended or hung; the reason in plain words. The next start() may succeed.
    void lost(const QString& reason);

private:
    void on_process_readyRead();
    void on_process_errorOccurred(QProcess::ProcessError error);
    void on_process_finished(int code, QProcess::ExitStatus status);
    void on_ping_timeout();

    QProcess m_process;
    QString m_program;
    QStringList m_arguments;
    QTimer m_ping;
    QElapsedTimer m_silence;
    bool m_isReady = false;
    QString m_lostReason;
};
