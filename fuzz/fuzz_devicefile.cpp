// Device files and overrides: a file is taken over as a whole or not at all.
#include "core/plixjson.h"
#include "devicedescription.h"
#include "property.h"

#include <algorithm>

namespace {

QByteArray stateOf(const DeviceDescription& device) {
    QVariantList workers;
    for (const DeviceDescription::Worker& worker : device.workers())
        workers.append(QVariantList{worker.library, worker.config});
    return PlixJson::serialize(QVariantList{device.readPathPrefix(),
                                            device.firmwareUpdateDataPipe(), workers,
                                            device.nodes(), device.overriddenPaths()});
}

const QByteArray firstFile = R"({
    "platform": {"readPathPrefix": "/srv/", "firmwareUpdateDataPipe": "/run/pipe"},
    "workers": [{"library": "plix_a", "config": {"n": 1}}],
    "nodes": {"a:b": {"title": "B", "value": 1, "rows": [{"value": true}]}}})";

bool isPlainName(const DeviceDescription::Worker& worker) {
    return !worker.library.isEmpty() && !worker.library.contains('/') &&
           !worker.library.contains('.');
}

} // namespace

void fuzz(const QByteArray& input) {
    QString error;
    DeviceDescription device;
    FUZZ_CHECK(device.merge(firstFile, &error));
    const QByteArray before = stateOf(device);
    const QString assignment = QString::fromUtf8(input.constData(), input.size());
    const bool merged = device.merge(input, &error);
    FUZZ_CHECK(merged == error.isEmpty());
    if (!merged) {
        FUZZ_CHECK(stateOf(device) == before);
        error.clear();
        FUZZ_CHECK(device.override(assignment, &error) == error.isEmpty());
        FUZZ_CHECK(error.isEmpty() != (stateOf(device) == before));
    }
    const auto workers = device.workers();
    FUZZ_CHECK(std::all_of(workers.begin(), workers.end(), isPlainName));
    FUZZ_CHECK(device.readPathPrefix().startsWith('/') && device.readPathPrefix().endsWith('/'));
    FUZZ_CHECK(!device.nodeWorkers().contains(QString()));
    const QByteArray after = stateOf(device);
    if (merged)
        FUZZ_CHECK(device.merge(input, &error) && stateOf(device) == after);
}
