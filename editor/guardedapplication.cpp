#include "editor/guardedapplication.h"

#include <cstdio>

#include "core/runtimefault.h"

namespace kandor {

GuardedApplication::GuardedApplication(int& argc, char** argv) : QApplication(argc, argv) {}

bool GuardedApplication::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (...) {
        const RuntimeFault fault = currentFault();
        const std::string text =
            "Error in " + std::string(receiver ? receiver->metaObject()->className() : "Kandor") +
            ": " + std::to_string(fault.number()) + " " + fault.description();
        std::fprintf(stderr, "kandorpe: %s\n", text.c_str());
        // A second fault while reporting the first must not take the process down either.
        try {
            if (report) report(text);
        } catch (...) {
        }
        return true;
    }
}

}  // namespace kandor
