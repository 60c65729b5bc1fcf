// Makes the files on which the MariaDB servers of tests start, in the folder that is named.
#include "support/maria_server.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
try {
    if (argc != 2)
        return 2;
    MariaServer::makeData(argv[1]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
