#include "sip/sip_stack.h"

#include "sip/stack_sockets.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <mutex>
#include <poll.h>
#include <set>
#include <sofia-sip/su.h>
#include <sofia-sip/su_log.h>
#include <sofia-sip/su_wait.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

// The stack asks for no waiting at all while a timer is near; SIP timers bear 5 ms.
constexpr su_duration_t kShortestWaitMs = 5;
constexpr su_duration_t kLongestWaitMs = 100;

bool isEventPoll(int fd)
{
    char target[64] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    return readlink(link.c_str(), target, sizeof target - 1) > 0 && std::string(target) == "anon_inode:[eventpoll]";
}

std::set<int> eventPolls()
{
    std::set<int> result;
    DIR* folder = opendir("/proc/self/fd");
    if (folder == nullptr)
        return result;
    while (const dirent* entry = readdir(folder)) {
        const int fd = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && isEventPoll(fd))
            result.insert(fd);
    }
    closedir(folder);
    return result;
}

// True when the descriptor tells of a message that waits for this root: other threads may make descriptors of this kind
// at the same moment, so that the new one is not surely the stack's.
bool tellsOfMessages(int fd, su_root_t* root)
{
    su_msg_r message = SU_MSG_R_INIT;
    if (su_msg_create(
            message, su_root_task(root), su_root_task(root), [](su_root_magic_t*, su_msg_r, su_msg_arg_t*) {}, 0) != 0)
        return false;
    // The stack does not wake its own thread.
    std::thread([&message] { su_msg_send(message); }).join();
    pollfd waiting = {fd, POLLIN, 0};
    const bool isTold = poll(&waiting, 1, 0) > 0;
    su_root_step(root, 0);
    return isTold;
}

// The stack does not say what it waits with.
int ownEventPoll(const std::set<int>& before, su_root_t* root)
{
    for (const int fd : eventPolls())
        if (before.count(fd) == 0 && tellsOfMessages(fd, root))
            return fd;
    return -1;
}

void ignoreLog(void*, const char*, va_list) {}

} // namespace

struct SipStack::Impl {
    using Work = std::function<void()>;

    // Ends the work of this thread; it stays because nothing in this program is taken down.
    [[noreturn]] void stay()
    {
        {
            const std::lock_guard guard(mutex);
            isParked = true;
        }
        parked.notify_all();
        for (;;)
            pause();
    }

    std::mutex mutex; // for all below but `restedAt`; `root` is read without it on the stack's thread
    std::condition_variable parked;
    su_root_t* root = nullptr;
    std::vector<Work> early;
    std::chrono::steady_clock::time_point restedAt = std::chrono::steady_clock::now(); // of the stack's thread
    bool isParking = false;
    bool isParked = false;
};

SipStack::SipStack() : _impl(std::make_unique<Impl>()) {}

SipStack::~SipStack() = default;

su_root_s* SipStack::root() const
{
    return _impl->root;
}

int64_t SipStack::unrestMs() const
{
    using std::chrono::milliseconds;
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - _impl->restedAt).count();
}

bool SipStack::run(const std::function<void()>& onStart, const std::function<void()>& onStep)
{
    su_init();
    // What it says is for its developers; what matters is logged where it is noticed.
    su_log_redirect(nullptr, ignoreLog, nullptr);
    const std::set<int> before = eventPolls();
    su_root_t* root = su_root_create(nullptr);
    if (root == nullptr)
        return false;
    const int eventPoll = ownEventPoll(before, root);
    std::vector<Impl::Work> early;
    {
        std::unique_lock lock(_impl->mutex);
        _impl->root = root;
        if (_impl->isParking) {
            lock.unlock();
            _impl->stay();
        }
    }
    onStart();
    {
        const std::lock_guard guard(_impl->mutex);
        early.swap(_impl->early);
    }
    for (const Impl::Work& work : early)
        work();
    for (;;) {
        const uint64_t received = receivedByStack();
        const su_duration_t next = su_root_step(root, 0);
        onStep();
        // Where one packet came there may be more: asking the kernel for events once more would cost as much as they.
        if (receivedByStack() != received)
            continue;
        const su_duration_t wait = next < 0 ? kLongestWaitMs : std::clamp(next, kShortestWaitMs, kLongestWaitMs);
        pollfd waiting = {eventPoll, POLLIN, 0};
        // Without the descriptor packets wait a little; the stack's own waiting would be none while a timer is near.
        poll(&waiting, 1, static_cast<int>(eventPoll >= 0 ? wait : kShortestWaitMs));
        _impl->restedAt = std::chrono::steady_clock::now();
    }
}

bool SipStack::park(unsigned timeoutMs)
{
    {
        const std::lock_guard guard(_impl->mutex);
        _impl->isParking = true;
        if (_impl->root == nullptr)
            return true; // before anything was started; then nothing will be
    }
    post([this] { _impl->stay(); });
    std::unique_lock lock(_impl->mutex);
    return _impl->parked.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return _impl->isParked; });
}

void SipStack::post(std::function<void()> work)
{
    su_root_t* root = nullptr;
    {
        const std::lock_guard guard(_impl->mutex);
        root = _impl->root;
        if (root == nullptr) {
            _impl->early.push_back(std::move(work));
            return;
        }
    }
    constexpr size_t kPointerSize = sizeof(void*);
    auto* parcel = new Impl::Work(std::move(work));
    su_msg_r message = SU_MSG_R_INIT;
    const su_msg_f deliver = [](su_root_magic_t*, su_msg_r, su_msg_arg_t* arg) {
        Impl::Work* const received = *static_cast<Impl::Work**>(arg);
        (*received)();
        delete received;
    };
    if (su_msg_create(message, su_root_task(root), su_task_null, deliver, kPointerSize) != 0) {
        delete parcel;
        return;
    }
    *static_cast<Impl::Work**>(static_cast<void*>(su_msg_data(message))) = parcel;
    su_msg_send(message);
}
