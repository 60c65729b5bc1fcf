# What programs that serve calls take their memory from. A call is some hundred small pieces that live from a message to
# half a minute; jemalloc hands them out with less work than the C library does (docs/decisions/0004-dependencies.md).
# Sanitizers bring allocators of their own.
add_library(parlovex_allocator INTERFACE)
if(NOT PARLOVEX_SANITIZE)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(Jemalloc REQUIRED IMPORTED_TARGET jemalloc)
    target_sources(parlovex_allocator INTERFACE ${PROJECT_SOURCE_DIR}/cmake/allocator.cpp)
    target_link_libraries(parlovex_allocator INTERFACE PkgConfig::Jemalloc)
endif()
