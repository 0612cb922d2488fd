// An error that ends the command in progress; the command's handler shows its description.
#pragma once

#include <QString>
#include <stdexcept>

namespace quillmark::program {

class RunTimeError : public std::runtime_error {
  public:
    RunTimeError(int number, const QString& description)
        : std::runtime_error{description.toStdString()}, number_{number} {}
    int number() const { return number_; }
    /// The user stopped the work with Esc: it ends silently.
    bool stopped() const { return number_ == 20029; }
    QString description() const { return QString::fromUtf8(what()); }

  private:
    int number_;
};

}  // namespace quillmark::program
