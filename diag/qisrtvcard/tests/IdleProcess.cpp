// Waits a given number of seconds (default 30) and exits: a stand-in process for tests.
#include <chrono>
#include <cstdlib>
#include <thread>

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 30;
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    return 0;
}
