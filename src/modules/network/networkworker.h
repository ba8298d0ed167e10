// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"

// Provides the device's addresses in one node, and its host name in "network:hostname", unless the
// configuration has one. The addresses follow the interfaces of the machine, unless
// the configuration's "nodes" contain a value for the node.
class NetworkWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit NetworkWorker(const QVariantHash& config);

private:
    void provideHostName();
    void update();
};
