// A stand-in for every external tool the application drives. It is linked into a temporary tool
// directory under the real tools' names; it records how it was started into "<argv0>.record" and then
// follows the script in "<argv0>.script", one command a line:
//   out TEXT / err TEXT   write TEXT (escapes \n \r \t \\ \xNN) to stdout / stderr as one chunk
//   sleep MS              sleep, not woken by ignored signals
//   sigint ignore         ignore SIGINT
//   sigint exit CODE      on SIGINT, exit with CODE at once
//   flood BYTES           write BYTES bytes of text lines to stdout
//   in BYTES              read BYTES bytes of stdin and write them to stdout
//   exit CODE             exit with CODE
//   crash                 die by SIGSEGV
// Without an exit line it exits with 0.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

extern char** environ;

namespace {

int sigintExitCode = 0;

std::string escape(const std::string& text)
{
    std::string result;
    for (char c : text) {
        switch (c) {
        case '\n':
            result += "\\n";
            break;
        case '\r':
            result += "\\r";
            break;
        case '\t':
            result += "\\t";
            break;
        case '\\':
            result += "\\\\";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string unescape(const std::string& text)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const char next = text[++i];
        switch (next) {
        case 'n':
            result += '\n';
            break;
        case 'r':
            result += '\r';
            break;
        case 't':
            result += '\t';
            break;
        case 'x':
            if (i + 2 < text.size()) {
                result += char(std::strtol(text.substr(i + 1, 2).c_str(), nullptr, 16));
                i += 2;
            }
            break;
        default:
            result += next;
        }
    }
    return result;
}

void writeAll(int fd, const std::string& data)
{
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t written = ::write(fd, data.data() + done, data.size() - done);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        done += size_t(written);
    }
}

void sleepMs(long ms)
{
    timespec remaining{ms / 1000, (ms % 1000) * 1000000L};
    while (::nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {}
}

void onSigint(int)
{
    ::_exit(sigintExitCode);
}

void record(const std::string& self, int argc, char** argv)
{
    std::ofstream out(self + ".record", std::ios::app);
    char cwd[4096] = {};
    if (!::getcwd(cwd, sizeof(cwd)))
        cwd[0] = 0;
    out << "invocation\ncwd\t" << escape(cwd) << "\n";
    for (int i = 1; i < argc; ++i)
        out << "arg\t" << escape(argv[i]) << "\n";
    for (char** variable = environ; *variable; ++variable)
        out << "env\t" << escape(*variable) << "\n";
    out << "end\n";
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string self = argv[0];
    record(self, argc, argv);
    std::ifstream script(self + ".script");
    std::string line;
    while (std::getline(script, line)) {
        const size_t blank = line.find(' ');
        const std::string command = line.substr(0, blank);
        const std::string rest = blank == std::string::npos ? std::string() : line.substr(blank + 1);
        if (command == "out") {
            writeAll(1, unescape(rest));
        } else if (command == "err") {
            writeAll(2, unescape(rest));
        } else if (command == "sleep") {
            sleepMs(std::atol(rest.c_str()));
        } else if (command == "sigint") {
            if (rest == "ignore") {
                std::signal(SIGINT, SIG_IGN);
            } else {
                sigintExitCode = std::atoi(rest.substr(rest.find(' ') + 1).c_str());
                std::signal(SIGINT, onSigint);
            }
        } else if (command == "flood") {
            long remaining = std::atol(rest.c_str());
            const std::string chunk = "flooding the standard output with a line of no meaning at all\n";
            while (remaining > 0) {
                const long size = remaining < long(chunk.size()) ? remaining : long(chunk.size());
                writeAll(1, chunk.substr(0, size_t(size)));
                remaining -= size;
            }
        } else if (command == "in") {
            std::string answer(size_t(std::atol(rest.c_str())), '\0');
            const ssize_t got = ::read(0, answer.data(), answer.size());
            writeAll(1, answer.substr(0, got > 0 ? size_t(got) : 0));
        } else if (command == "exit") {
            return std::atoi(rest.c_str());
        } else if (command == "crash") {
            std::raise(SIGSEGV);
        }
    }
    return 0;
}
