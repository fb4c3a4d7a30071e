#pragma once

namespace qv::can_bus::flr {

/// Thread entry: asks the node of a `Transfer_record` to install the package that it was sent, POST /update, and
/// polls GET /update/status_json every 2 seconds until the node restarts or is complete. Argument and result are
/// the record; its `error` is 0 when all went well, else what the node said last. There is no limit to the
/// polling: a node that is away or talks nonsense is asked again and again.
void* InstallHandler(void* record);

} // namespace qv::can_bus::flr
