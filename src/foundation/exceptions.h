#pragma once
// The typed exceptions of the libraries. Each instance's tag names the class that threw it; all can be caught as their
// base.

#include <exception>
#include <string>
#include <utility>

namespace quorvel::cpp_utils::exception_utils::v1 {

/// Base of the typed exceptions. Not related to the class of the same name in no namespace (com_exception.h).
class QuorvelException : public std::exception {};

/// Carries its text by value; `Tag` is a label only.
template <class Tag, class Base = QuorvelException>
class ExceptionTemplate : public Base {
public:
    explicit ExceptionTemplate(std::string text) : message(std::move(text)) {}
    const char* what() const noexcept override { return message.c_str(); }

private:
    std::string message;
};

}  // namespace quorvel::cpp_utils::exception_utils::v1
