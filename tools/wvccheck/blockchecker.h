#pragma once

#include <QString>
#include <atomic>
#include <mutex>

class ToolConsole;

// Decodes every block of every band of one raster on a few threads, each with its own handle on
// the file, and reports each block that fails. Progress goes out as "STATUS: <n> % done" whenever
// the whole percentage moves.
class BlockChecker
{
public:
    BlockChecker(const QString& path, int threads, ToolConsole& console);

    // Prints the INFO lines and checks the file; returns the number of failed blocks, or -1 when the
    // file cannot be opened at all.
    int run();
    bool interrupted() const { return stopped; }

private:
    void work();
    void blockDone();

    QString path;
    int threads;
    ToolConsole& console;
    int blocksAcross = 0;
    int blocksDown = 0;
    int bandCount = 0;
    long long blockCount = 0;
    std::atomic<long long> nextBlock{0};
    std::atomic<long long> finished{0};
    std::atomic<int> failures{0};
    std::atomic<bool> stopped{false};
    std::mutex statusMutex;
    int lastPercent = -1;
};
