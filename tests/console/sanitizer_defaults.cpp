// What the sanitizers, where they are switched on, should know of libraries that are not ours and not built with them.

// NOLINTBEGIN(bugprone-reserved-identifier): the names that the sanitizers look for.
extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_suppressions();
extern "C" __attribute__((visibility("default"), used)) const char* __tsan_default_options();

// The toolkit and its plugins leave objects behind when a process ends. Ours are still reported: only what these
// functions allocate themselves is passed over.
const char* __lsan_default_suppressions()
{
    return "leak:QObject::QObject\n"
           "leak:QPlatformScreen::QPlatformScreen\n"
           "leak:QScreen::QScreen\n"
           "leak:QWindowSystemInterface::handleScreenAdded\n"
           "leak:QtSharedPointer::ExternalRefCountData::getAndRef\n"
           "leak:libdbus-1.so\n"
           "leak:libqoffscreen.so\n";
}

// The toolkit's own locks are invisible, so that whatever they guard inside it looks like a race.
const char* __tsan_default_options()
{
    return "ignore_noninstrumented_modules=1";
}
// NOLINTEND(bugprone-reserved-identifier)
