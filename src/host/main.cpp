// SPDX-License-Identifier: MIT
#include "core/dbglog.h"
#include "core/plixhost.h"
#include "core/plixjson.h"
#include "datadirectory.h"
#include "device.h"
#include "devicedescription.h"
#include "hostlog.h"
#include "hostoptions.h"
#include "loopmonitor.h"
#include "statedirectory.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QFile>
#include <QRegExp>
#include <glib-unix.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int largeBlockBytes = 256 * 1024;

constexpr int usageError = 2;
// The result of the event loop when the device is to be restarted. Not an exit status.
constexpr int restartStatus = -1;

int fail(const QString& reason) {
    // simplified() makes it one line.
    std::fprintf(stderr, "plixhost: %s\n", reason.simplified().toLocal8Bit().constData());
    return usageError;
}

int print(const QString& text) {
    std::fputs(text.toLocal8Bit().constData(), stdout);
    return 0;
}

bool setUpLogging(const HostOptions& options, QString* error) {
    HostLog::setUp();
    QString reason;
    if (!options.logConfigFile.isEmpty() &&
        !HostLog::setUpFromFile(options.logConfigFile, &reason)) {
        *error = QStringLiteral("%1: %2").arg(options.logConfigFile, reason);
        return false;
    }
    if (options.logLevel.isEmpty() || HostLog::setLevel(options.logLevel))
        return true;
    *error = QStringLiteral("--log-level: '%1' is none of %2")
                 .arg(options.logLevel, HostLog::levelNames());
    return false;
}

bool mergeDefaultDevice(DeviceDescription* description, QString* error) {
    QFile file(QStringLiteral(":/default-device.json"));
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return false;
    }
    // Only the built-in file may refer to the data directory of the program.
    QByteArray json = file.readAll();
    json.replace("${datadir}", PlixJson::escape(dataDirectory()).toUtf8());
    return description->merge(json, error);
}

bool mergeDeviceFile(DeviceDescription* description, const QString& fileName, QString* error) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return false;
    }
    const QByteArray json = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        *error = file.errorString();
        return false;
    }
    return description->merge(json, error);
}

bool describeDevice(const HostOptions& options, DeviceDescription* description, QString* error) {
    QString reason;
    if (!mergeDefaultDevice(description, &reason)) {
        *error = QStringLiteral("built-in device: %1").arg(reason);
        return false;
    }
    for (const QString& fileName : options.deviceFiles) {
        if (!mergeDeviceFile(description, fileName, &reason)) {
            *error = QStringLiteral("%1: %2").arg(fileName, reason);
            return false;
        }
    }
    for (const QString& assignment : options.overrides) {
        if (!description->override(assignment, &reason)) {
            *error = QStringLiteral("--set %1: %2").arg(assignment, reason);
            return false;
        }
    }
    return true;
}

bool setUpPlatformPaths(const DeviceDescription& description, const StateDirectory& state,
                        QString* error) {
    const QString folder = QStringLiteral("readable");
    QString prefix = description.readPathPrefix();
    if (prefix.isEmpty()) {
        if (!state.makeFolder(folder, error))
            return false;
        // The prefix is a regular expression. Without escaping, a dot in the name of the state
        // directory would match other directories.
        prefix = QRegExp::escape(state.filePath(folder)) + QLatin1Char('/');
    }
    QString pipe = description.firmwareUpdateDataPipe();
    if (pipe.isEmpty())
        pipe = state.filePath(QStringLiteral("firmware-update-pipe"));
    plixSetPlatformPaths(prefix, pipe);
    return true;
}

gboolean on_signal_received(gpointer) {
    QCoreApplication::quit();
    return G_SOURCE_CONTINUE;
}

// The usual soft limit is low for programs that use select(), which this one does not.
void raiseDescriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) == 0)
        dbglog_info("May open " << limit.rlim_max << " files; the limit was " << before);
    else
        dbglog_warning("May open " << before << " files: " << std::strerror(errno));
}

void printReady(int httpPort, int httpsPort) {
    std::printf("ready http=%d https=%d\n", httpPort, httpsPort);
    std::fflush(stdout);
}

int run(const HostOptions& options) {
    // libsoup lives in GLib's default main context, which only this dispatcher runs.
    if (!QAbstractEventDispatcher::instance()->inherits("QEventDispatcherGlib"))
        return fail(QStringLiteral("Qt does not use GLib's event loop (is QT_NO_GLIB set?)"));
    std::signal(SIGPIPE, SIG_IGN);
    g_unix_signal_add(SIGINT, on_signal_received, nullptr);
    g_unix_signal_add(SIGTERM, on_signal_received, nullptr);

    QString error;
    DeviceDescription description;
    StateDirectory state;
    if (!setUpLogging(options, &error) || !describeDevice(options, &description, &error) ||
        !state.open(options.stateDirectory, &error) ||
        !setUpPlatformPaths(description, state, &error))
        return fail(error);
    raiseDescriptorLimit();

    Device device;
    QObject::connect(&device, &Device::ready, &device, printReady);
    QObject::connect(&device, &Device::restartRequested, &device,
                     [] { QCoreApplication::exit(restartStatus); });
    if (!device.start(description, state.path(), &error))
        return fail(error);
    const LoopMonitor monitor;
    return QCoreApplication::exec();
}

// Replaces this process by a new one of the same program, with its process id, arguments, working
// directory and standard streams. Returns only when that fails.
int restart(char** argv) {
    // Libraries may have files open that a new program would inherit.
    close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC);
    const QString program = QCoreApplication::applicationFilePath();
    execv(QFile::encodeName(program).constData(), argv);
    return fail(QStringLiteral("%1: %2").arg(program, QString::fromLocal8Bit(strerror(errno))));
}

} // namespace

int main(int argc, char** argv) {
    // The memory of a response of megabytes is returned to the system after it has been sent.
    // Without a fixed threshold the allocator raises it and keeps the memory of later responses.
    mallopt(M_MMAP_THRESHOLD, largeBlockBytes);
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("plixhost"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PLIX_VERSION));

    HostOptions options;
    QString error;
    if (!options.parse(QCoreApplication::arguments(), &error))
        return fail(error);
    if (options.help)
        return print(HostOptions::helpText());
    if (options.version)
        return print(QStringLiteral("plixhost " PLIX_VERSION "\n"));
    const int status = run(options);
    return status == restartStatus ? restart(argv) : status;
}
