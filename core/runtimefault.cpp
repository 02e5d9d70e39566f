#include "core/runtimefault.h"

#include <new>
#include <stdexcept>

namespace kandor {

std::string_view faultDescription(int number) {
    switch (number) {
        case 3:
            return "Return without GoSub";
        case 5:
            return "Invalid procedure call or argument";
        case 6:
            return "Overflow";
        case 7:
            return "Out of memory";
        case 9:
            return "Subscript out of range";
        case 10:
            return "This array is fixed or temporarily locked";
        case 11:
            return "Division by zero";
        case 13:
            return "Type mismatch";
        case 28:
            return "Out of stack space";
        case 52:
            return "Bad file name or number";
        case 53:
            return "File not found";
        case 54:
            return "Bad file mode";
        case 55:
            return "File already open";
        case 57:
            return "Device I/O error";
        case 58:
            return "File already exists";
        case 61:
            return "Disk full";
        case 62:
            return "Input past end of file";
        case 67:
            return "Too many files";
        case 68:
            return "Device unavailable";
        case 70:
            return "Permission denied";
        case 71:
            return "Disk not ready";
        case 75:
            return "Path/File access error";
        case 76:
            return "Path not found";
        case 91:
            return "Object variable or With block variable not set";
        case 440:
            return "Automation error";
        case 31001:
            return "Out of memory";
        case 31036:
            return "Error saving to file";
        default:
            return "Application-defined or object-defined error";
    }
}

RuntimeFault::RuntimeFault(int number)
    : RuntimeFault(number, std::string(faultDescription(number))) {}

RuntimeFault::RuntimeFault(int number, std::string description, std::string source)
    : number_(number), description_(std::move(description)), source_(std::move(source)) {}

void raiseFault(int number) {
    throw RuntimeFault(number);
}

RuntimeFault currentFault() {
    try {
        throw;
    } catch (const RuntimeFault& f) {
        return f;
    } catch (const std::bad_alloc&) {
        return RuntimeFault(fault::kOutOfMemory);
    } catch (const std::length_error&) {
        return RuntimeFault(fault::kOutOfMemory);
    } catch (const std::out_of_range&) {
        return RuntimeFault(fault::kSubscriptOutOfRange);
    } catch (const std::exception& e) {
        return RuntimeFault(fault::kInvalidCall, e.what());
    } catch (...) {
        return RuntimeFault(fault::kInvalidCall);
    }
}

}  // namespace kandor
