#pragma once

/// What WaitForDescriptor waits for.
enum class DescriptorEvent { Readable, Writable };

/// Waits with `select` until the descriptor is ready, at most `ms` milliseconds of the program's clock.
/// False on time-out, on error and on a descriptor that is closed (-1) or beyond what `select` can hold.
/// Signals do not end the wait early.
bool WaitForDescriptor(int fd, DescriptorEvent event, unsigned int ms);
