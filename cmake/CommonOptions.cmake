# Language level and warnings, as one interface target that every target of this project links.
add_library(parlovex_options INTERFACE)
target_compile_features(parlovex_options INTERFACE cxx_std_20)
target_compile_options(parlovex_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
    -Wcast-qual -Wformat=2 -Wundef -Wimplicit-fallthrough)
# GCC 12 sees overlapping copies in "text" + std::string where there are none (its bug 105651), in optimised builds only.
target_compile_options(parlovex_options INTERFACE
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

option(PARLOVEX_WERROR "Treat warnings as errors" OFF)
if(PARLOVEX_WERROR)
    target_compile_options(parlovex_options INTERFACE -Werror)
endif()

# parlovex_library(<name> SOURCES ... LINKS ... PRIVATE_LINKS ...)
# A platform library: only its include/ folder is visible to the layers above it.
function(parlovex_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC include PRIVATE src)
    target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE parlovex_options ${ARG_PRIVATE_LINKS})
    target_compile_features(${name} PUBLIC cxx_std_20)
endfunction()
