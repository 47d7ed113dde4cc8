#pragma once

// The one place that knows where the product's absolute paths begin.
//
// All fixed paths start at "/". When the environment variable CORVIDPRO_ROOT is set and not empty,
// its value is put in front of them, as DESTDIR is for installs: tests, the demo and users who may
// not write below "/" live under it. Paths that a user chose (cache roots, project folders) are
// never prefixed.

namespace corvid {

// The text in front of every fixed path: the value of CORVIDPRO_ROOT, or "" when it is unset or
// empty. Read from the environment at every call; never null; owned by the environment.
const char* fixedPathPrefix();

} // namespace corvid
