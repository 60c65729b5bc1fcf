// Binds what a benchmark starts to one core.
#pragma once

#include <sched.h>
#include <stdexcept>

// As long as it lives, processes and threads that this thread starts run on that one of the cores, and so does the
// thread itself.
class OwnCore {
public:
    // Counted from 0. Throws when there is no such core.
    explicit OwnCore(unsigned core)
    {
        cpu_set_t wanted;
        CPU_ZERO(&wanted);
        CPU_SET(core, &wanted);
        if (sched_getaffinity(0, sizeof _before, &_before) != 0 || sched_setaffinity(0, sizeof wanted, &wanted) != 0)
            throw std::runtime_error("there are too few cores");
    }
    ~OwnCore() { (void)sched_setaffinity(0, sizeof _before, &_before); }
    OwnCore(const OwnCore&) = delete;
    OwnCore& operator=(const OwnCore&) = delete;

private:
    cpu_set_t _before{};
};
