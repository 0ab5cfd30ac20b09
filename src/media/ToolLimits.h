#pragma once

#include <chrono>

// How long the program waits on a tool before it gives up on it, so that no
// tool stuck on a bad file or a dead disk can hang a scan or a run. The
// limits live here alone; tests shorten them.
namespace ToolLimits {

struct Limits
{
    // A probe or measurement that has not ended by then is ended and counts
    // as failed.
    std::chrono::milliseconds query = std::chrono::seconds(60);
    // A conversion whose progress has not moved for this long is ended and fails.
    std::chrono::milliseconds stalledConversion = std::chrono::seconds(120);
    // How long a tool asked to end may take before it is killed.
    std::chrono::milliseconds terminationGrace = std::chrono::seconds(5);
};

Limits current();

// Tests only: other limits for this process; Limits{} restores the real ones.
void setForTesting(const Limits& limits);

} // namespace ToolLimits
