// The windows behind the items of the menus.
#pragma once

#include <cstdint>
#include <map>

class Cdb_fac_mgr;
class QWidget;

// How the window of an item is made and shown.
struct PageWindow {
    enum class Way : uint8_t {
        None,        // the item opens nothing
        Frame,       // shown beside the others
        RemoteFrame, // the same, for a table of the remote store
        Dialog,      // run modally
    };
    using Make = QWidget* (*)(Cdb_fac_mgr* store, QWidget* parent);

    Way way = Way::None;
    Make make = nullptr;
    void (*init)(QWidget*) = nullptr; // called before each run of the dialog
};

template <class Window>
QWidget* makeWindow(Cdb_fac_mgr* store, QWidget* parent)
{
    return new Window(store, parent);
}

template <class Frame>
constexpr PageWindow frame()
{
    return {PageWindow::Way::Frame, makeWindow<Frame>};
}

template <class Frame>
constexpr PageWindow remoteFrame()
{
    return {PageWindow::Way::RemoteFrame, makeWindow<Frame>};
}

template <class Dialog>
constexpr PageWindow dialog()
{
    return {PageWindow::Way::Dialog, makeWindow<Dialog>};
}

// A dialog that reads its record anew each time.
template <class Dialog>
constexpr PageWindow dialogWithInit()
{
    return {PageWindow::Way::Dialog, makeWindow<Dialog>, [](QWidget* window) { static_cast<Dialog*>(window)->Init(); }};
}

// Makes each window at its first use and keeps it as a child of the main window. GUI thread.
class Cpage_windows {
public:
    explicit Cpage_windows(QWidget* parent) : _parent(parent) {}

    QWidget* get(const PageWindow& window, Cdb_fac_mgr* store);
    // Gives the result of a dialog, else 0.
    int open(const PageWindow& window, Cdb_fac_mgr* store);
    void forgetAll() { _made.clear(); }

private:
    QWidget* _parent;
    std::map<PageWindow::Make, QWidget*> _made; // two items that make the same page share it
};
