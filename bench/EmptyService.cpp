// SPDX-License-Identifier: MIT
#include "bench/ChildProcess.h"
#include "platform/dispatch/real/RealRealm.h"
#include "platform/lmn/LMNLogWriter.h"

#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

// What the service is compared with: a program that loads the same libraries and does nothing. It says when
// it has begun; with --rest it has an event loop and a log as well, with --wake it wakes up some 500 times a
// second, without anything of the house.

namespace {

void rest() {
    dispatch::RealRealm realm;
    lmn::LMNLogWriter log(realm, STDERR_FILENO);
    const lmn::LMNLogInstallation installation(log);
    realm.mainQueue().async([] { bench::giveSign(); });
    realm.run();
}

[[noreturn]] void wake() {
    for (;;) {
        ::poll(nullptr, 0, 2);
    }
}

} // namespace

int main(int argc, char** argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string_view role = argc == 2 ? argv[1] : "";
    if (role == "--rest") {
        rest();
    }
    bench::giveSign();
    if (role == "--wake") {
        wake();
    }
    return 0;
}
