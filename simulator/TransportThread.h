#pragma once

#include <poll.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "simulator/Descriptor.h"

namespace simulator {

/// The thread that a transport runs on: turn after turn until it is stopped, waiting in between.
class TransportThread {
 public:
    /// Throws std::system_error when the system has no descriptor left.
    TransportThread();
    TransportThread(const TransportThread&) = delete;
    TransportThread& operator=(const TransportThread&) = delete;
    ~TransportThread() { Stop(); }

    /// Runs `turn` again and again, each call ending in `Wait`.
    void Start(std::function<void()> turn);

    /// Ends the thread after the turn under way. Any number of times, not from the thread itself.
    void Stop();

    /// Waits until one of `descriptors` is ready, until the simulated time `until` (kNever for none), until
    /// `Stop`, or for some real milliseconds: a model that is shared may have been changed by somebody else.
    void Wait(std::vector<pollfd> descriptors, std::uint64_t until) const;

 private:
    Descriptor wake_;
    std::thread thread_;
    std::atomic<bool> stop_{false};
};

/// Reads what is there into `buffer` (its size is the most), without waiting. Bytes read; 0 when there is
/// nothing now; -1 when the peer is gone.
long ReadSome(int fd, std::vector<unsigned char>& buffer);

/// Writes as much of `pending` as goes without waiting and takes it out. False when the peer is gone.
bool WriteSome(int fd, std::vector<unsigned char>& pending);

}  // namespace simulator
