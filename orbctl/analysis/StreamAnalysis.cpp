// SPDX-License-Identifier: MIT
#include "orbctl/analysis/StreamAnalysis.h"

#include <algorithm>

namespace orbctl {

namespace {

// Compared at once while locked, so that the source is read in pieces that stay in the processor's caches.
constexpr std::size_t lockedFrames = 16384;

// Unaligned frames are searched in pieces of at least this size, so that the first window of a piece, which
// is hashed anew, weighs little.
constexpr std::size_t searchFrames = 4096;

// Frames searched in vain before source frames that may still be heard are given up for those expected by
// now. Fewer than UnalignedFrames keeps, so that a match found late still reaches back to its true beginning.
constexpr FrameNumber patienceFrames = framesPerSecond;

} // namespace

StreamAnalysis::StreamAnalysis(FrameReader& source, StreamAnalysisOptions options)
    : options_(options), window_(source), alignment_(window_, index_) {}

void StreamAnalysis::feed(std::span<const float> interleavedFrames) {
    result_.frames += static_cast<FrameNumber>(frameCount(interleavedFrames));
    std::span<const float> rest = interleavedFrames;
    while (!rest.empty()) {
        if (locked_) {
            rest = rest.subspan(compareLocked(rest) * channelCount);
            continue;
        }
        const auto piece = rest.first(std::min(rest.size(), lockedFrames * channelCount));
        unaligned_.append(piece);
        rest = rest.subspan(piece.size());
        search(Input::goesOn);
    }
}

/// Returns the frames that matched; fewer than given only when the segment has ended there.
std::size_t StreamAnalysis::compareLocked(std::span<const float> frames) {
    std::size_t done = 0;
    while (done < frameCount(frames) && locked_) {
        const FrameNumber position = current_.sourceFrame + current_.frames;
        const std::size_t wanted = std::min(lockedFrames, frameCount(frames) - done);
        discardSourceBefore(position - options_.lookBackFrames);
        window_.readUpTo(position + static_cast<FrameNumber>(wanted));
        const std::size_t held = std::min(wanted, static_cast<std::size_t>(window_.end() - position));
        const std::size_t equal = equalFrames(&frames[done * channelCount], window_.at(position), held);
        current_.frames += static_cast<FrameNumber>(equal);
        reached_ = std::max(reached_, current_.sourceFrame + current_.frames);
        done += equal;
        if (equal < wanted) {
            closeSegment();
        }
    }
    return done;
}

void StreamAnalysis::closeSegment() {
    locked_ = false;
    ++result_.segmentCount;
    result_.matchedFrames += current_.frames;
    if (result_.segments.size() < StreamResult::mostListed) {
        result_.segments.push_back(current_);
    }
    // At its start the segment was taken to repeat all that had been heard already.
    const FrameNumber sourceEnd = current_.sourceFrame + current_.frames;
    result_.duplicatedFrames -= soundingSourceFrames(sourceEnd, repeatedUpTo_);
    unaligned_.restart(current_.fileFrame + current_.frames);
    nextSound_ = sourceEnd;
}

void StreamAnalysis::search(Input input) {
    while (!locked_ && searchOnce(input)) {
    }
}

/// Returns whether searching on makes sense: something was found, though it has ended already.
bool StreamAnalysis::searchOnce(Input input) {
    unaligned_.skipSilence();
    const RecordedFrames recorded = unaligned_.searchable();
    const std::size_t available = frameCount(recorded.frames);
    std::size_t searched = available;
    if (input == Input::goesOn) {
        if (available < AlignmentSearch::judgementFrames + searchFrames) {
            return false;
        }
        searched = available - AlignmentSearch::judgementFrames;
    }
    if (searched == 0) {
        return false;
    }
    prepareSource(recorded);
    const auto found = alignment_.find(recorded, searched, preference());
    if (!found) {
        unaligned_.skip(searched);
        return input == Input::goesOn;
    }
    lock(*found);
    return true;
}

/// Brings all of the source into the window where the recorded frames may stand.
void StreamAnalysis::prepareSource(const RecordedFrames& recorded) {
    const FrameNumber recordedEnd =
        recorded.firstFileFrame + static_cast<FrameNumber>(frameCount(recorded.frames));
    const FrameNumber expected = recordedEnd - preference().expectedOffset;
    FrameNumber end = std::max(reached_, expected) + options_.lookAheadFrames;
    if (recorded.firstFileFrame - unaligned_.firstSounding() < patienceFrames) {
        end = std::min(end, reached_ - options_.lookBackFrames + options_.mostSourceFrames);
    }
    // Forgetting goes step by step with reading, so that no more than allowed is ever held.
    while (window_.end() < end && !window_.exhausted()) {
        const FrameNumber step = std::min(end, window_.end() + static_cast<FrameNumber>(lockedFrames));
        discardSourceBefore(step - options_.mostSourceFrames);
        window_.readUpTo(step);
    }
    index_.extend(window_);
    nextSound_ = std::max(nextSound_, window_.begin());
    nextSound_ += static_cast<FrameNumber>(leadingSilentFrames(window_.frames(nextSound_, window_.end())));
}

AlignmentPreference StreamAnalysis::preference() const {
    AlignmentPreference preference;
    preference.hint = options_.expectedOffset;
    // Behind silence the source may go on with its next sound as if nothing had happened.
    const FrameNumber afterSilence = unaligned_.firstSounding() - nextSound_;
    if (result_.segmentCount > 0) {
        preference.expectedOffset = current_.offset();
    } else if (preference.hint) {
        preference.expectedOffset =
            preference.hint->least + (preference.hint->most - preference.hint->least) / 2;
    } else {
        preference.expectedOffset = afterSilence;
    }
    preference.likely = {preference.expectedOffset, afterSilence};
    return preference;
}

void StreamAnalysis::lock(const FoundAlignment& found) {
    const FrameNumber start = firstEqualFrame(found);
    const Segment segment{start, start - found.offset, found.fileFrame - start};
    if (result_.segmentCount == 0) {
        recordStart(segment);
    } else {
        recordBreak(segment);
    }
    repeatedUpTo_ = reached_;
    result_.duplicatedFrames += soundingSourceFrames(segment.sourceFrame, repeatedUpTo_);
    reached_ = std::max(reached_, segment.sourceFrame + segment.frames);
    forgottenLoss_ = 0;
    current_ = segment;
    locked_ = true;
    const RecordedFrames held = unaligned_.held();
    const auto behind = static_cast<std::size_t>(found.fileFrame - held.firstFileFrame);
    const std::vector<float> rest(held.frames.begin() + static_cast<std::ptrdiff_t>(behind * channelCount),
                                  held.frames.end());
    const std::size_t matched = compareLocked(rest);
    if (!locked_) {
        unaligned_.append(std::span(rest).subspan(matched * channelCount));
    }
}

/// Follows the match back to the file frame where it begins.
FrameNumber StreamAnalysis::firstEqualFrame(const FoundAlignment& found) const {
    const RecordedFrames held = unaligned_.held();
    const FrameNumber silenceBegin = held.firstFileFrame - unaligned_.silentBeforeHeld();
    const FrameNumber leastFile = std::max(silenceBegin, window_.begin() + found.offset);
    FrameNumber start = found.fileFrame;
    while (start > leastFile) {
        const float* source = window_.at(start - 1 - found.offset);
        const FrameNumber index = start - 1 - held.firstFileFrame;
        const bool equal =
            index < 0 ? isSilent(source)
                      : framesEqual(&held.frames[static_cast<std::size_t>(index) * channelCount], source);
        if (!equal) {
            break;
        }
        --start;
    }
    // Silence heard before does not make a gap a repetition.
    const FrameNumber heardUpTo = result_.segmentCount > 0 ? current_.sourceFrame + current_.frames : 0;
    while (start < found.fileFrame && start - found.offset < heardUpTo &&
           isSilent(window_.at(start - found.offset))) {
        ++start;
    }
    return start;
}

void StreamAnalysis::recordStart(const Segment& segment) {
    const FrameNumber nonSilent = unaligned_.nonSilentBefore(segment.fileFrame);
    result_.leadingSilentFrames = segment.fileFrame - nonSilent;
    result_.unmatchedFrames += nonSilent;
    result_.sourceFramesLostAtStart = forgottenLoss_ + soundingSourceFrames(0, segment.sourceFrame);
}

void StreamAnalysis::recordBreak(const Segment& segment) {
    const FrameNumber sourceFrame = current_.sourceFrame + current_.frames;
    Break record;
    record.fileFrame = unaligned_.begin();
    record.fileFrames = segment.fileFrame - unaligned_.begin();
    record.nonSilentFrames = unaligned_.nonSilentBefore(segment.fileFrame);
    record.sourceFrame = sourceFrame;
    record.sourceJump = segment.sourceFrame - sourceFrame;
    // What was heard before a jump back is not lost by the jump forth again.
    record.sourceFramesLost = forgottenLoss_ + soundingSourceFrames(reached_, segment.sourceFrame);
    if (record.nonSilentFrames > 0) {
        record.kind = BreakKind::corruption;
    } else if (record.fileFrames > 0) {
        record.kind = BreakKind::gap;
    } else {
        record.kind = record.sourceJump < 0 ? BreakKind::repeat : BreakKind::skip;
    }
    result_.unmatchedFrames += record.nonSilentFrames;
    result_.gapFrames += record.fileFrames - record.nonSilentFrames;
    result_.sourceFramesLostBetween += record.sourceFramesLost;
    ++result_.breakCount;
    if (result_.breaks.size() < StreamResult::mostListed) {
        result_.breaks.push_back(record);
    }
}

void StreamAnalysis::discardSourceBefore(FrameNumber position) {
    if (position <= window_.begin()) {
        return;
    }
    forgottenLoss_ += soundingSourceFrames(reached_, position);
    window_.discardBefore(position);
    index_.forgetBefore(position);
}

/// Of the source's frames in [from, to) that the window holds, those that are not silent.
FrameNumber StreamAnalysis::soundingSourceFrames(FrameNumber from, FrameNumber to) const {
    return static_cast<FrameNumber>(nonSilentFrames(window_.frames(from, to)));
}

const StreamResult& StreamAnalysis::finish(RecordingEnd end) {
    search(Input::ended);
    if (locked_) {
        closeSegment();
    }
    const FrameNumber nonSilent = unaligned_.nonSilentBefore(unaligned_.end());
    const FrameNumber silent = unaligned_.end() - unaligned_.begin() - nonSilent;
    result_.unmatchedFrames += nonSilent;
    (result_.segmentCount > 0 ? result_.tailFrames : result_.leadingSilentFrames) += silent;
    if (end == RecordingEnd::withSource) {
        countRestOfSource();
    } else {
        window_.readUpTo(reached_ + 1);
    }
    result_.sourceEndReached = window_.exhausted() && reached_ == window_.end();
    return result_;
}

void StreamAnalysis::countRestOfSource() {
    while (!window_.exhausted()) {
        discardSourceBefore(window_.end());
        window_.readUpTo(window_.end() + static_cast<FrameNumber>(lockedFrames));
    }
    discardSourceBefore(window_.end());
    result_.sourceFramesLostAtEnd = forgottenLoss_;
}

} // namespace orbctl
