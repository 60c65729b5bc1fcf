// The tabs of an editor.
#pragma once

#include <QTabWidget>

// Tabs that all show at once: where their titles do not fit beside each other they take two lines. GUI thread.
class Cform_tabs : public QTabWidget {
public:
    explicit Cform_tabs(QWidget* parent);

protected:
    void resizeEvent(QResizeEvent* event) override;
};
