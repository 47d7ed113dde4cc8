#pragma once

// Questions to volumes that may never answer.

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace corvid {

// Starts `work` on a thread of its own and waits for its end; false when `progress()`, any number,
// stays the same for that long. The thread is then left behind, so that `work` must own all that it
// uses.
template <class Work, class Progress>
bool finishInTime(std::chrono::milliseconds timeout, Work work, Progress progress) {
    std::packaged_task<void()> task(std::move(work));
    std::future<void> end = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error&) {
        return false; // no thread to be had, and doing it here might be for ever
    }
    auto before = progress();
    while (end.wait_for(timeout) != std::future_status::ready) {
        const auto now = progress();
        if (now == before) {
            return false;
        }
        before = now;
    }
    end.get();
    return true;
}

// The answer of `ask()`; none when it does not come in time. The same holds for what `ask` uses.
template <class Ask>
auto answerInTime(std::chrono::milliseconds timeout, Ask ask) -> std::optional<decltype(ask())> {
    const auto answer = std::make_shared<std::optional<decltype(ask())>>();
    const bool isAnswered = finishInTime(
        timeout, [answer, ask = std::move(ask)] { *answer = ask(); }, [] { return 0; });
    return isAnswered ? std::move(*answer) : std::nullopt;
}

} // namespace corvid
