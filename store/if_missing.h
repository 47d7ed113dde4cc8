#pragma once

namespace corvid {

// Whether a store's file and folders are made when they are not there. Those who only look leave
// them missing.
enum class IfMissing { Create, LeaveMissing };

} // namespace corvid
