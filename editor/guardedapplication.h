#pragma once

#include <functional>
#include <string>

#include <QApplication>

namespace kandor {

// The last line behind every error trap: a fault thrown from an event handler that no trap of
// its own caught would otherwise unwind through Qt and end the process with the user's edits.
// Here it is reported and the event counts as handled, so the window stays open.
class GuardedApplication final : public QApplication {
  public:
    GuardedApplication(int& argc, char** argv);

    // Shows a fault that reached the event loop; the application sets a message box.
    std::function<void(const std::string& text)> report;

    bool notify(QObject* receiver, QEvent* event) override;
};

}  // namespace kandor
