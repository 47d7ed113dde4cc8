#pragma once

// The caches' figures for collectors, in the two dialects that they read: the classic text format
// of a node exporter's folder, and OpenMetrics 1.0.

#include "upkeep/cache_list.h"

#include <optional>
#include <string>

namespace corvid {

enum class MetricsDialect { Prometheus, OpenMetrics };

struct MetricsOptions {
    std::optional<std::uint64_t> limit; // of all caches, bytes
    // When everything could be read last, seconds since 1970; 0 for never.
    long lastCompleteReading = 0;
    // So many projects, the largest, have series of their own; the others are one, "other".
    std::size_t projects = 60;
};

std::string metricsText(const CacheList& list, const MetricsOptions& options,
                        MetricsDialect dialect);

// The time of the last complete reading that such a text tells; 0 for none.
long lastCompleteReadingIn(const std::string& text);

} // namespace corvid
