#pragma once

namespace qv::can_bus::flr {

/// Thread entry: uploads the package of a `Transfer_record` to its node, POST /upload, a form with the part
/// "sendfile" [RFC 7578]. Argument and result are the record; its `error` is 0 when the node has all of it.
void* SendHandler(void* record);

} // namespace qv::can_bus::flr
