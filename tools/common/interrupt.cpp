#include "tools/common/interrupt.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t received = 0;

extern "C" void onSignal(int number)
{
    received = number;
}

}  // namespace

namespace Interrupt {

void install()
{
    struct sigaction action
    {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a blocking wait should wake up and look at the flag.
    action.sa_flags = 0;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool requested()
{
    return received != 0;
}

int exitCode()
{
    return 128 + (received != 0 ? int(received) : SIGINT);
}

}  // namespace Interrupt
