// The controls of a form by their names.
#pragma once

#include <QDialog>
#include <stdexcept>
#include <string>

namespace quillmark::test {

/// The control of that name; a form without it is a fault of the test's own kind.
template <typename Widget>
Widget& part(QDialog& form, const char* name) {
    auto* found = form.findChild<Widget*>(QString::fromLatin1(name));
    if (!found) throw std::runtime_error{std::string{"no part "} + name};
    return *found;
}

}  // namespace quillmark::test
