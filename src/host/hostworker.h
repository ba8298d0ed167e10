// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"

// The host's own node, "device:restart": writing its role "activate" restarts the device. Its value
// is the time of the last start in milliseconds since 1970, by which clients see that the device
// has been restarted. With the role "internal", which a device file can set, the node is hidden and
// cannot be activated.
class HostWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit HostWorker(const QVariantHash& config);

    void setDataRequest(const CMSetDataRequest& request) override;

Q_SIGNALS:
    // A client has asked for a restart. The answer has had time to reach it.
    void restartRequested();
};
