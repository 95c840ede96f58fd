// SPDX-License-Identifier: MIT
#pragma once

#include "bench/mirrorlab/ReceiverComparison.h"
#include "bench/mirrorlab/ReceiverSetAnalysis.h"
#include "bench/mirrorlab/StreamAnalysis.h"

#include <memory>
#include <span>
#include <vector>

namespace mirrorlab {

/// Judges the receivers' sound while it is played, so that a run of any length needs no disk: the first
/// receiver against the source, each other one against the first. On the playout queue; `finish` when that is
/// idle.
class LiveAnalysis {
  public:
    LiveAnalysis(std::unique_ptr<FrameReader> source, std::size_t receivers,
                 StreamAnalysisOptions options = {});

    /// Frames that a receiver plays, from file frame `first` on; what is left out is silence. For each
    /// stretch the first receiver comes first.
    void play(std::size_t receiver, std::span<const float> frames, FrameNumber first);

    /// One result for each receiver.
    std::vector<ReceiverResult> finish();

    /// Of all the sound that the first receiver played; equal sound has equal digests.
    std::uint64_t digest() const { return digest_; }

  private:
    void playFirst(std::span<const float> frames, FrameNumber first);
    void feedSilence(FrameNumber frames);
    void digest(std::span<const float> frames, FrameNumber first);

    const std::unique_ptr<FrameReader> source_;
    StreamAnalysis analysis_;
    std::vector<float> latest_; // what the first receiver played last
    FrameNumber latestFirst_ = 0;
    FrameNumber fed_ = 0;                         // frames of the first receiver
    std::vector<ReceiverComparison> comparisons_; // of the others
    std::uint64_t digest_ = 0xcbf29ce484222325;
};

} // namespace mirrorlab
