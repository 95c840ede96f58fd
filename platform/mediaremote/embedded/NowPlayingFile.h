// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileWatcher.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/Observable.h"
#include "platform/foundation/RuntimeDirectory.h"
#include "platform/mediaremote/MRAHelper.h"

#include <string>

namespace mediaremote {

/// The file `now-playing.json` of the runtime directory, `{"version":1,"info":{…}}`: whoever plays writes the
/// whole of it at each change, and everybody reads it. A file that cannot be understood counts as none and is
/// reported. Main queue.
class NowPlayingFile final : public MRAHelper {
  public:
    NowPlayingFile(dispatch::Queue& mainQueue, const foundation::RuntimeDirectory& runtimeDirectory,
                   std::function<void(const std::string& line)> report);

    std::optional<Dictionary> nowPlayingInfo() override;
    [[nodiscard]] foundation::Subscription observeEvents(
        std::function<void(const Dictionary& event)> handler) override;

    /// For whoever plays. Throws JsonFileError. Any thread.
    static void write(const foundation::RuntimeDirectory& runtimeDirectory, const Dictionary& info);

  private:
    void changed();

    const foundation::JsonFile file_;
    const std::function<void(const std::string& line)> report_;
    foundation::Observable<Dictionary> event_;
    foundation::FileWatcher watcher_;
};

} // namespace mediaremote
