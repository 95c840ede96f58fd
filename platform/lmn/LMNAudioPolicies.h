// SPDX-License-Identifier: MIT
#pragma once

namespace lmn {

/// What the framework may do on this machine. One per process, made by the composition root; set before
/// anything is captured, main thread.
class LMNAudioPolicies {
  public:
    /// Whether sound is captured by a server of the system. There is no other way here.
    bool isAudiodEnabled() const { return isAudiodEnabled_; }
    void setAudiodEnabled(bool isEnabled) { isAudiodEnabled_ = isEnabled; }

    /// Whether devices with more than two channels are heard as stereo, which all are here.
    bool isStereoMixdownDeviceEnabled() const { return isStereoMixdownDeviceEnabled_; }
    void setStereoMixdownDeviceEnabled(bool isEnabled) { isStereoMixdownDeviceEnabled_ = isEnabled; }

  private:
    bool isAudiodEnabled_ = false;
    bool isStereoMixdownDeviceEnabled_ = false;
};

} // namespace lmn
