// Ends calls for ever, until it is killed; their records go to the folder that it is given.
#include "calls/cdr_store.h"

#include <chrono>
#include <thread>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    static CdrStore& store = *new CdrStore(argv[1]);
    std::thread([] { store.run(); }).detach();
    for (int i = 1;; ++i) {
        Ccdr_record_data record;
        record.callId = i;
        store.add(i, record);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}
