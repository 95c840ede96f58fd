// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/analysis/ReceiverComparison.h"
#include "orbctl/analysis/ReceiverSetAnalysis.h"
#include "orbctl/analysis/StreamAnalysis.h"

#include <memory>
#include <span>
#include <vector>

namespace mirrorlab {

/// Judges the receivers' sound while it is played, so that a run of any length needs no disk: the first
/// receiver against the source, each other one against the first. On the playout queue; `finish` when that is
/// idle.
class LiveAnalysis {
  public:
    LiveAnalysis(std::unique_ptr<orbctl::FrameReader> source, std::size_t receivers,
                 orbctl::StreamAnalysisOptions options = {});

    /// Frames that a receiver plays, from file frame `first` on; what is left out is silence. For each
    /// stretch the first receiver comes first.
    void play(std::size_t receiver, std::span<const float> frames, orbctl::FrameNumber first);

    /// One result for each receiver.
    std::vector<orbctl::ReceiverResult> finish();

    /// Of all the sound that the first receiver played; equal sound has equal digests.
    std::uint64_t digest() const { return digest_; }

  private:
    void playFirst(std::span<const float> frames, orbctl::FrameNumber first);
    void feedSilence(orbctl::FrameNumber frames);
    void digest(std::span<const float> frames, orbctl::FrameNumber first);

    const std::unique_ptr<orbctl::FrameReader> source_;
    orbctl::StreamAnalysis analysis_;
    std::vector<float> latest_; // what the first receiver played last
    orbctl::FrameNumber latestFirst_ = 0;
    orbctl::FrameNumber fed_ = 0;                         // frames of the first receiver
    std::vector<orbctl::ReceiverComparison> comparisons_; // of the others
    std::uint64_t digest_ = 0xcbf29ce484222325;
};

} // namespace mirrorlab
