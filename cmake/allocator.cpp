/** @file
 * What jemalloc reads before the program's first allocation.
 *
 * One thread serves the calls and a few follow it: two arenas keep them apart. With jemalloc's own choice, four for each core, the
 * pages that a busy minute has freed stay spread over all of them.
 */

extern "C" {
extern const char* malloc_conf __attribute__((visibility("default")));
const char* malloc_conf = "narenas:2";
}
