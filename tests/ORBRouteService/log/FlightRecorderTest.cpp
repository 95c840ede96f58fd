// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightEvent.h"
#include "ORBRouteService/log/flight/FlightLog.h"
#include "ORBRouteService/log/flight/FlightMemory.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LogCapture.h"
#include "tests/support/AllocationCounter.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstring>
#include <thread>

namespace orb {
namespace {

using testing::HasSubstr;

FlightRecording recordingOf(const FlightRecorder& recorder) {
    return FlightRecording::parse(recorder.contents(), "memory");
}

TEST(FlightRecorder, whatWasRecordedReadsBackCutBetweenCharacters) {
    dispatch::VirtualRealm realm;
    FlightRecorder recorder(realm.clock());
    const FlightRecorderInstallation installation(recorder);
    realm.mainQueue().async(
        [] { recordFlight(FlightKind::reset, {.text = "why\n\x1B[2J\xFF", .numbers = {1}}); });
    realm.advanceBy(std::chrono::seconds(2));
    const std::string subject = std::string(longestFlightSubject - 1, 's') + "é";
    recordFlight(FlightKind::messageSent,
                 {.subject = subject, .text = std::string(300, 't'), .request = 7, .numbers = {1, 2, 3}});

    const FlightRecording recording = recordingOf(recorder);
    const dispatch::HostTime begin = recording.begin;
    const std::vector<FlightRecord> expected{
        {1, begin, FlightKind::reset, 0, {1, 0, 0}, "main", "", "why  [2J?"},
        {2,
         begin + std::chrono::seconds(2),
         FlightKind::messageSent,
         7,
         {1, 2, 3},
         "",
         std::string(longestFlightSubject - 1, 's'),
         std::string(176 - longestFlightSubject + 1, 't')},
    };
    EXPECT_EQ(recording.records, expected);
    EXPECT_EQ(recording.dateOf(begin), dispatch::VirtualRealm::defaultWallStart);
}

TEST(FlightRecorder, theOldestGoWhenItIsFullTheirNumberIsKnownAndNoMemoryIsTaken) {
    dispatch::VirtualRealm realm;
    FlightRecorder recorder(realm.clock());
    const std::string text(400, 't');
    const std::uint64_t before = support::allocationsOfThisThread();
    for (std::uint32_t count = 0; count < FlightRecorder::slotCount + 5; ++count) {
        recorder.record(FlightKind::notice, {.subject = std::to_string(count), .text = text});
    }
    EXPECT_EQ(support::allocationsOfThisThread(), before);
    const FlightRecording recording = recordingOf(recorder);
    ASSERT_EQ(recording.records.size(), FlightRecorder::slotCount);
    EXPECT_EQ(recording.records.front().subject, "5");
    EXPECT_EQ(recording.overwritten, 5);
}

TEST(FlightRecorder, aSlotWithAnyByteWrongIsLeftOut) {
    dispatch::VirtualRealm realm;
    FlightRecorder recorder(realm.clock());
    recorder.record(FlightKind::notice, {.subject = "whole"});
    recorder.record(FlightKind::reset, {.text = "torn, all 24 bytes of it"});
    const std::string contents = recorder.contents();
    const std::size_t used = offsetof(FlightSlot, text) + 24;
    for (std::size_t byte = 0; byte < used; ++byte) {
        std::string torn = contents;
        torn[2 * sizeof(FlightSlot) + byte] ^= 0x10;
        const FlightRecording recording = FlightRecording::parse(torn, "memory");
        ASSERT_EQ(recording.records.size(), 1) << byte;
        EXPECT_EQ(recording.records.front().subject, "whole");
        EXPECT_EQ(recording.unreadable, 1) << byte;
    }
}

/// What each record says of itself; a mixture of two says something else.
std::string proofOf(double number) {
    return std::string(static_cast<std::size_t>(number) % 150, 'x') + std::to_string(number);
}

TEST(FlightRecorder, threadsThatOvertakeEachOtherAndAReaderNeverMixRecords) {
    dispatch::VirtualRealm realm;
    FlightRecorder recorder(realm.clock());
    constexpr int writers = 3;
    constexpr int mostPerWriter = 1'000'000;
    constexpr int looks = 30;
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; ++writer) {
        threads.emplace_back([&, writer] {
            for (int count = 0; count < mostPerWriter && !isOver; ++count) {
                const double number = writer * mostPerWriter + count;
                const std::string proof = proofOf(number);
                recorder.record(FlightKind::log, {.text = proof, .numbers = {number}});
            }
        });
    }
    int mixed = 0;
    for (int look = 0; look < looks; ++look) {
        for (const FlightRecord& record : recordingOf(recorder).records) {
            mixed += record.text == proofOf(record.numbers[0]) ? 0 : 1;
        }
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mixed, 0);
    EXPECT_LE(recordingOf(recorder).unreadable, writers); // nobody writes any more
}

TEST(FlightRecorder, onlyFailuresOfTheLogAreRecordedAndAllArePassedOn) {
    dispatch::VirtualRealm realm;
    FlightRecorder recorder(realm.clock());
    const FlightRecorderInstallation recording(recorder);
    lmn::LogCapture capture;
    FlightLog log(capture);
    const lmn::LMNLogInstallation installation(log);
    lmn::LMNLog(0, "routine\n");
    lmn::LMNLog(4, "it broke\n");
    EXPECT_EQ(capture.lines().size(), 2);
    ASSERT_EQ(recordingOf(recorder).records.size(), 1);
    EXPECT_EQ(recordingOf(recorder).records.front().text, "it broke");
}

/// Recorders with files, in virtual time.
class FlightFiles : public testing::Test {
  protected:
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory_ / "flights")) {
            names.push_back(entry.path().filename());
        }
        std::ranges::sort(names);
        return names;
    }

    dispatch::VirtualRealm realm_;
    const foundation::TemporaryDirectory directory_;
};

TEST_F(FlightFiles, aProcessThatIsGoneLeavesItsRingAndOneThatEndedInOrderDoesNot) {
    {
        FlightRecorder inOrder(realm_.clock(), directory_.path());
        FlightRecorder gone(realm_.clock(), directory_.path()); // of the same millisecond
        gone.record(FlightKind::notice, {.subject = "last"});
        ASSERT_EQ(FlightDirectory(directory_.path()).rings().size(), 2);
        EXPECT_TRUE(FlightDirectory(directory_.path()).rings().front().isOfLivingProcess);
        inOrder.discard();
    }
    const auto rings = FlightDirectory(directory_.path()).rings();
    ASSERT_EQ(rings.size(), 1);
    EXPECT_FALSE(rings.front().isOfLivingProcess);
    EXPECT_EQ(FlightRecording::read(rings.front().path).records.front().subject, "last");
    struct stat status {};
    ASSERT_EQ(::stat(rings.front().path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600);
}

TEST_F(FlightFiles, onlyTheNewestOfTheDeadAndOfTheSnapshotsAreKept) {
    const FlightRecorder alive(realm_.clock(), directory_.path()); // the oldest of all
    const std::string ofTheLiving = names().front();
    for (std::size_t count = 0; count < FlightDirectory::keptCount + 3; ++count) {
        realm_.advanceBy(std::chrono::milliseconds(1));
        FlightRecorder recorder(realm_.clock(), directory_.path());
        recorder.keepSnapshot();
        recorder.keepSnapshot();
    }
    EXPECT_EQ(names().front(), ofTheLiving);
    EXPECT_EQ(names().size(), 1 + 2 * FlightDirectory::keptCount + 1); // the last one came after the clearing
    EXPECT_THAT(names(), testing::Contains(HasSubstr("T000000.011Z")).Times(3));
    EXPECT_THAT(names(), testing::Not(testing::Contains(HasSubstr("T000000.002Z"))));
}

TEST_F(FlightFiles, withoutAPlaceForItsFileItRecordsAndSaysSo) {
    const lmn::LogCapture log;
    foundation::writeFile(directory_ / "file", "");
    FlightRecorder nowhere(realm_.clock(), directory_ / "file");
    EXPECT_EQ(log.count(4, "nothing will be left of it after a crash"), 1);
    nowhere.record(FlightKind::notice, {.subject = "kept"});
    EXPECT_EQ(recordingOf(nowhere).records.size(), 1);

    FlightRecorder recorder(realm_.clock(), directory_.path());
    std::filesystem::remove_all(directory_ / "flights");
    recorder.keepSnapshot();
    EXPECT_EQ(log.count(4, "no snapshot was kept"), 1);
}

TEST_F(FlightFiles, whatIsNoRecordingIsRefusedWithItsPath) {
    FlightRecorder recorder(realm_.clock());
    const std::string whole = recorder.contents();
    const auto with = [&](auto FlightHeader::*field, auto value) {
        FlightHeader header;
        std::memcpy(&header, whole.data(), sizeof header);
        header.*field = value;
        std::string text = whole;
        std::memcpy(text.data(), &header, sizeof header);
        return text;
    };
    const std::pair<std::string, const char*> rows[] = {
        {"", "too short"},
        {whole.substr(0, whole.size() - 1), "are not those of"},
        {whole + "x", "are not those of"},
        {std::string(whole.size(), 'x'), "is no flight recording"},
        {with(&FlightHeader::version, 2U), "version 2"},
        {with(&FlightHeader::slotSize, 128U), "not understood"},
        {with(&FlightHeader::slotCount, 0xFFFFFFFFU), "are not those of"},
        {with(&FlightHeader::wallTime, std::numeric_limits<std::int64_t>::max()), "no time"},
    };
    for (const auto& [text, reason] : rows) {
        foundation::writeFile(directory_ / "x.flight", text);
        try {
            FlightRecording::read(directory_ / "x.flight");
            ADD_FAILURE() << reason;
        } catch (const FlightFileError& error) {
            EXPECT_THAT(error.what(), testing::AllOf(HasSubstr("x.flight: "), HasSubstr(reason)));
        }
    }
    EXPECT_THROW(FlightRecording::read(directory_.path()), FlightFileError);
    EXPECT_THROW(FlightRecording::read(directory_ / "none"), FlightFileError);
}

} // namespace
} // namespace orb
