#pragma once

// The render queue as values; nothing of it is held or made.

#include <optional>
#include <string>
#include <vector>

namespace corvid {

struct QueuePair {
    std::string name;
    std::string key;
    std::string value; // a number as text
};

struct QueueJob {
    int index = 0;                    // its place, from 1
    std::optional<std::string> state; // the value of its first pair with the key "state"
    std::vector<std::string> files;   // the values that are absolute paths, each once
    std::vector<QueuePair> pairs;
    std::vector<std::vector<QueuePair>> modules; // the pairs of each output module
};

struct RenderQueueList {
    std::vector<QueueJob> jobs;
    bool isComplete = false; // the queue could be read to its end
};

RenderQueueList readRenderQueue();

} // namespace corvid
