#pragma once

#include "core/model/cmnodesworker.h"

// Provides the device's addresses in one node. They follow the interfaces of the machine, unless
// the configuration's "nodes" contain a value for the node.
class NetworkWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit NetworkWorker(const QVariantHash& config);

private:
    void update();
};
