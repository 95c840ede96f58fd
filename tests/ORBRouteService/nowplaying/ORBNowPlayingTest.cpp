// SPDX-License-Identifier: MIT
#include "ORBRouteService/nowplaying/ORBNowPlaying.h"

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/foundation/coding/Base64.h"
#include "platform/lmn/LogCapture.h"
#include "platform/mediaplayer/embedded/NowPlayingStateFile.h"
#include "platform/mediaremote/embedded/NowPlayingFile.h"

#include <gtest/gtest.h>

namespace orb {
namespace {

using namespace std::chrono_literals;
using namespace mediaplayer;
using namespace mediaremote;
using boost::json::object;

/// A relay between the file of whoever plays and the file of what is shown.
class ORBNowPlayingTest : public testing::Test {
  public:
    ORBNowPlayingTest() {
        onMain([this] { relay = ORBNowPlaying::create({realm.mainQueue(), source, center}); });
    }
    void onMain(dispatch::FunctionRef<void()> action) {
        realm.mainQueue().sync(action);
        realm.settle();
    }
    void play(const object& info) {
        NowPlayingFile::write(runtime, info);
        realm.settle();
    }
    void setActive(bool active) {
        onMain([&] { relay->setActive(active); });
    }
    boost::json::value shown() const { return file.read().value_or(nullptr); }
    std::string state() const { return shown().at("playbackState").as_string().c_str(); }
    object info() const { return shown().at("info").as_object(); }

    lmn::LogCapture log;
    const foundation::TemporaryDirectory directory;
    const foundation::RuntimeDirectory runtime{directory.path() / "run"};
    dispatch::VirtualRealm realm;
    std::vector<std::string> reports;
    const std::function<void(const std::string&)> report = [this](const std::string& line) {
        reports.push_back(line);
    };
    NowPlayingFile source{realm.mainQueue(), runtime, report};
    MPNowPlayingInfoCenter center;
    const foundation::JsonFile file{directory.path() / "shown.json"};
    NowPlayingStateFile shownFile{center, realm.mainQueue(), file.path(), report};
    std::shared_ptr<ORBNowPlaying> relay;
};

const object playing{
    {"title", "Song"}, {"artist", "A"}, {"duration", 200}, {"elapsedTime", 50}, {"playing", 1}};
const object nothingShown{{"MPNowPlayingInfoPropertyDefaultPlaybackRate", 1.0},
                          {"MPNowPlayingInfoPropertyPlaybackProgress", 0.0},
                          {"MPMediaItemPropertyMediaType", 255}};

TEST_F(ORBNowPlayingTest, aBurstIsPublishedOnceWithItsLastStateAndTheArtworkAsAPicture) {
    setActive(true);
    realm.advanceBy(1s);
    int publications = 0;
    const auto counted = center.nowPlayingInfo().observe([&](const auto&) { ++publications; });
    const std::string artwork = foundation::base64(foundation::Data{"\xFF\xD8\xFF picture"});
    for (int second = 1; second <= 5; ++second) {
        play({{"title", "Song"},
              {"duration", 0},
              {"elapsedTime", second},
              {"playing", second % 2},
              {"artworkData", artwork}});
        realm.advanceBy(299ms);
    }
    EXPECT_EQ(publications, 0);
    realm.advanceBy(1ms);
    EXPECT_EQ(publications, 1);
    EXPECT_EQ(state(), "playing");
    const object published = info();
    EXPECT_EQ(published.at(MPMediaItemPropertyTitle), "Song");
    EXPECT_EQ(published.at(MPNowPlayingInfoPropertyPlaybackProgress), 5 / 0.1) << "of a duration of 0";
    EXPECT_FALSE(published.contains(MPMediaItemPropertyAlbumArtist));
    EXPECT_FALSE(published.contains("artworkData"));
    EXPECT_EQ(published.at(MPMediaItemPropertyArtwork),
              boost::json::value(object{
                  {"mimeType", "image/jpeg"}, {"width", 500.0}, {"height", 500.0}, {"data", artwork}}));
    EXPECT_EQ(log.count(0, artwork), 0U) << "the log is for people";
}

TEST_F(ORBNowPlayingTest, aPauseIsShownForTwoMinutesAndItsTimeIsKept) {
    setActive(true);
    play(playing);
    realm.advanceBy(10s);
    EXPECT_EQ(relay->lastPause(), dispatch::distantPast);
    play({{"title", "Other"}}); // what it does not say stays
    foundation::JsonFile(runtime.path() / "now-playing.json").replace(object{{"info", 7}});
    realm.advanceBy(1s);
    EXPECT_EQ(state(), "playing");
    EXPECT_EQ(info().at(MPMediaItemPropertyTitle), "Other");
    const dispatch::HostTime paused = realm.clock().now();
    object still = playing;
    still["playing"] = 0;
    play(still);
    realm.advanceBy(60s);
    realm.stepWallClock(-1h); // nobody's watch has anything to do with it
    realm.advanceBy(59s);
    EXPECT_EQ(state(), "paused");
    EXPECT_EQ(relay->lastPause(), paused);
    realm.advanceBy(1s + 300ms);
    EXPECT_EQ(state(), "stopped");
    EXPECT_EQ(info().at(MPMediaItemPropertyTitle), "Song");
}

TEST_F(ORBNowPlayingTest, switchedOffItShowsNothingOnceTheLastActivityIsTwoMinutesAgo) {
    realm.advanceBy(300ms);
    EXPECT_EQ(state(), "stopped");
    EXPECT_EQ(info(), object{});
    play(playing);
    play({{"elapsedTime", 49}, {"playing", 1}}); // an update while playing, but not active
    realm.advanceBy(1s);
    EXPECT_EQ(info(), object{}) << "nothing is mirrored yet";
    setActive(true);
    play({{"elapsedTime", 51}, {"playing", 1}}); // an update while active and playing
    realm.advanceBy(1s);
    setActive(false);
    realm.advanceBy(300ms);
    EXPECT_EQ(info(), nothingShown);
    EXPECT_EQ(state(), "paused");
    realm.advanceBy(121s);
    onMain([&] { relay->updateNowPlaying(); });
    realm.advanceBy(300ms);
    EXPECT_EQ(info(), object{});
    EXPECT_EQ(state(), "stopped");
}

} // namespace
} // namespace orb
