#pragma once
// Journals the top-level windows of the threads that call the virtual system: created, shown,
// hidden, resized and destroyed, with class, title, owner and size, so that a journal shows
// what a person would have seen of a run.

#include <windows.h>

#include <mutex>
#include <vector>

namespace tvsim {

class Journal;

class WindowWatch {
public:
    explicit WindowWatch(Journal& journal) : journal_(journal) {}
    ~WindowWatch();
    WindowWatch(const WindowWatch&) = delete;
    WindowWatch& operator=(const WindowWatch&) = delete;

    // Starts watching the calling thread's windows, once per thread.
    void watchThisThread();

private:
    static LRESULT CALLBACK onMessage(int code, WPARAM wParam, LPARAM lParam);
    void record(const CWPSTRUCT& message);

    Journal& journal_;
    std::mutex mutex_;
    std::vector<DWORD> threads_;
    std::vector<HHOOK> hooks_;
};

} // namespace tvsim
