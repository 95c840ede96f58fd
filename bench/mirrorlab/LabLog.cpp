// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/LabLog.h"

#include <fmt/format.h>

#include <cerrno>
#include <regex>
#include <system_error>

namespace mirrorlab {
namespace {

constexpr std::string_view resetMark = "reason: resync: ";

/// What differs between two runs of the same: addresses and process ids.
std::string withoutIdentities(std::string_view text) {
    static const std::regex identities("0x[0-9a-f]+|process [0-9]+");
    return std::regex_replace(std::string(text), identities, "*");
}

} // namespace

LabLog::LabLog(const dispatch::Clock& clock, lmn::LMNLogTarget& next,
               const std::optional<std::filesystem::path>& journal)
    : clock_(clock), start_(clock.now()), next_(next) {
    if (!journal)
        return;
    const dispatch::LockGuard guard(lock_);
    journal_.open(*journal, std::ios::trunc);
    if (!journal_)
        throw std::system_error(errno, std::generic_category(), journal->string());
}

void LabLog::write(lmn::LMNLogLevel level, std::string_view text) noexcept {
    next_.write(level, text);
    note(text);
    const std::size_t mark = text.find(resetMark);
    if (mark == std::string_view::npos)
        return;
    const std::string_view reason = text.substr(mark + resetMark.size());
    const dispatch::LockGuard guard(lock_);
    resynchronisations_.push_back({clock_.cycleTime(), std::string(reason.substr(0, reason.rfind(')')))});
}

void LabLog::note(std::string_view text) {
    const dispatch::LockGuard guard(lock_);
    if (!journal_.is_open())
        return;
    const std::string_view line = text.substr(0, text.find_last_not_of('\n') + 1);
    journal_ << fmt::format("{:.9f} {}\n", dispatch::toSeconds(clock_.now() - start_),
                            withoutIdentities(line));
}

std::vector<orbctl::Resynchronisation> LabLog::resynchronisations(dispatch::HostTime epoch) const {
    const dispatch::LockGuard guard(lock_);
    std::vector<orbctl::Resynchronisation> list;
    list.reserve(resynchronisations_.size());
    for (const Seen& seen : resynchronisations_)
        list.push_back({.timeSeconds = dispatch::toSeconds(seen.time - epoch), .reason = seen.reason});
    return list;
}

} // namespace mirrorlab
