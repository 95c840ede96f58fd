// SPDX-License-Identifier: MIT
#include "orbctl/report/Report.h"

#include "orbctl/sound/SoundFile.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "tests/orbctl/sound/WriteSound.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <boost/json.hpp>

#include <cstdio>

#include <sys/wait.h>

namespace orbctl {
namespace {

using namespace test;
using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr FrameNumber length = 3 * framesPerSecond;
constexpr FrameNumber delay = 2 * framesPerSecond;
constexpr dispatch::Date start{std::chrono::sys_days{std::chrono::year{2026} / 1 / 1}};
constexpr const char* nasty = R"(</script><script>document.title="&<taken>"</script><!-- 'x' "y")";

/// A job with two receivers: one plays all, the other loses 400 frames after a second.
class ReportTest : public ::testing::Test {
  protected:
    ReportTest() {
        const Samples sound = noise(length, 1);
        writeSound(directory_ / "source.wav", sound);
        writeSound(directory_ / "good.wav", joined({silence(delay), sound}));
        Samples holed = sound;
        std::fill_n(holed.begin() + std::ptrdiff_t{2} * framesPerSecond, 800, 0.0F);
        writeSound(directory_ / "holed.wav", joined({silence(delay), holed}));
        data_.source.files = {directory_ / "source.wav"};
        data_.receivers = {{"Kitchen", directory_ / "good.wav"}, {nasty, directory_ / "holed.wav"}};
        data_.parameters = {{"volume", nasty}};
        data_.events = {{start + 1500ms, nasty}};
        // The first sound stands at 2 s in the recordings and is heard at 00:00:02.
        data_.logLines = {
            "2026-01-01T00:00:00.174149Z 0 first chunk after resync: anchor=0.0, "
            "startLatency=2.0, pts=2.0, duration=0.18575963718820862",
            "2026-01-01T00:00:01.000000Z 0 feed chunk: ahead=1.8s, effectiveLatency=2.01s,",
            fmt::format("2026-01-01T00:00:02.000000Z 4 {}", nasty)};
    }

    std::string page() {
        writeReport(data_, path());
        return foundation::readFile(path());
    }

    std::filesystem::path path() const { return directory_ / "report.html"; }

    static boost::json::value dataOf(const std::string& page) {
        const std::string begin = R"(<script type="application/json" id="data">)";
        const std::size_t at = page.find(begin) + begin.size();
        return boost::json::parse(std::string_view(page).substr(at, page.find("</script>", at) - at));
    }

    const foundation::TemporaryDirectory directory_;
    ReportData data_;
};

TEST_F(ReportTest, putsSoundFiguresAndMarksOnOneTimeLine) {
    const boost::json::value data = dataOf(page());
    const auto& tracks = data.at("tracks").as_array();
    ASSERT_EQ(tracks.size(), 3U);
    EXPECT_EQ(tracks[0].at("start"), 2.0) << "the source is shown where it is heard";
    EXPECT_EQ(tracks[2].at("start"), 0.0);
    EXPECT_EQ(tracks[2].at("name"), nasty);
    EXPECT_NEAR(data.at("latency").at(0).at(0).as_double(), 1.0, 1e-5);
    EXPECT_EQ(data.at("latency").at(0).at(1), 2.01);
    EXPECT_EQ(data.at("buffered").at(0).at(1), 1.8);
    std::vector<std::pair<std::string, double>> marks;
    for (const boost::json::value& mark : data.at("marks").as_array())
        marks.emplace_back(mark.at("lane").as_string(), mark.at("time").as_double());
    ASSERT_EQ(marks.size(), 4U) << "the fed chunk is plotted, not marked";
    EXPECT_NEAR(marks[0].second, 1.5, 1e-5);
    EXPECT_NEAR(marks[2].second, 2.0, 1e-5);
    EXPECT_EQ(marks[3], std::pair(std::string("fault"), 3.0));
}

TEST_F(ReportTest, tellsWhoPlayedWhatAndLetsNoTextBecomeMarkup) {
    const std::string text = page();
    EXPECT_THAT(text, AllOf(HasSubstr("Not what it should be"), HasSubstr("88200 <small>(2.0000 s)"),
                            HasSubstr("400 frames differ, +0 frames"), HasSubstr("volume"),
                            HasSubstr("gap of 400 frames"), Not(HasSubstr("<taken>")),
                            Not(HasSubstr("sourceMappingURL"))));
    data_.receivers.pop_back();
    EXPECT_THAT(page(), HasSubstr("Every receiver played exactly the source</p>"));
    writeSound(directory_ / "good.wav", joined({silence(delay), cut(noise(length, 1), 441, length)}));
    EXPECT_THAT(page(), HasSubstr("but not its first 441 frames (0.010 s)"));
}

TEST_F(ReportTest, comparesReceiversWithEachOtherWhenTheSourceIsGone) {
    data_.source.files.clear();
    EXPECT_THAT(page(), AllOf(HasSubstr("400 frames differ"), Not(HasSubstr("against the source"))));
    data_.receivers[1].file = data_.receivers[0].file;
    EXPECT_THAT(page(), HasSubstr("All receivers played the same"));
}

/// What a browser makes of the page; the appended script counts the canvases.
std::string domInBrowser(const std::filesystem::path& page, const std::filesystem::path& profile) {
    std::ofstream(page, std::ios::app) << R"(<script>
document.querySelectorAll("#tools button")[1].click();
const canvases = Array.from(document.querySelectorAll("canvas"));
const isPainted = (canvas) =>
    canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data.some((byte) => byte > 0);
document.body.append(`${canvases.length} canvases, ${canvases.filter(isPainted).length} painted`);
</script>)";
    const std::string command = fmt::format(
        "timeout 50 chromium --headless --no-sandbox --disable-gpu --user-data-dir='{}' "
        "--dump-dom 'file://{}' 2>&1",
        profile.string(), page.string());
    std::string dom;
    FILE* const pipe = ::popen(command.c_str(), "r");
    char piece[4096];
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, pipe))
        dom.append(piece, count);
    EXPECT_EQ(::pclose(pipe), 0) << dom.substr(0, 4000);
    return dom;
}

TEST_F(ReportTest, isDrawnByABrowserWithoutAnyScriptFailing) {
    if (std::system("command -v chromium >/dev/null") != 0)
        GTEST_SKIP() << "there is no chromium here: nobody has looked at the page in a browser";
    const std::string dom = (page(), domInBrowser(path(), directory_ / "profile"));
    // Three sounds, latency, buffered time, marks: each a canvas for the plot and one for what is pointed at.
    EXPECT_THAT(dom, AllOf(HasSubstr("12 canvases, 6 painted"), HasSubstr(R"(id="trouble" hidden)")));
}

} // namespace
} // namespace orbctl
