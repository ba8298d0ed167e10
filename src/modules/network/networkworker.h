#pragma once

#include "core/model/cmnodesworker.h"

// The device's addresses, in one node. Taken from the machine's interfaces and followed, unless the
// configuration's "nodes" give the node a value.
class NetworkWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit NetworkWorker(const QVariantHash& config);

private:
    void update();
};
