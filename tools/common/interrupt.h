#pragma once

// SIGINT and SIGTERM only raise a flag: the tools poll it between units of work, clean up what they
// were writing and end with exitCode().
namespace Interrupt {

void install();
bool requested();
// 128 plus the signal's number, as a shell reports a process ended by it.
int exitCode();

}  // namespace Interrupt
