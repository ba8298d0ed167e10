// SPDX-License-Identifier: MIT
#include "core/plixjson.h"
#include "linereader.h"
#include "playbackcontrol.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

// plix-playback OUTPUT: plays what its standard input says, see playbackcontrol.h, and ends with
// it. OUTPUT describes where the sound goes, as for gst-launch-1.0.

namespace {

// What it decodes comes from anywhere: it gets no further privileges, and leaves no core file.
void limitItself() {
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

void writeLine(const QVariantHash& report) {
    const QByteArray line = PlixJson::serialize(report) + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: plix-playback OUTPUT\n");
        return 2;
    }
    limitItself();
    // It ends with its standard input only. A terminal or a service manager that ends the device
    // sends signals to both, and the device would take this for a crash.
    for (const int ignored : {SIGPIPE, SIGINT, SIGTERM, SIGHUP})
        std::signal(ignored, SIG_IGN);
    gst_init(nullptr, nullptr);

    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    {
        PlaybackControl control(QString::fromLocal8Bit(argv[1]), writeLine);
        const LineReader reader(
            STDIN_FILENO,
            [&](const QByteArray& line) {
                PlixError error;
                control.obey(PlixJson::parse(line, error).toHash());
            },
            [&] { g_main_loop_quit(loop); });
        g_main_loop_run(loop);
    }
    g_main_loop_unref(loop);
    return 0;
}
