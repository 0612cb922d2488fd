// The editors of a parameter dialog: one per parameter, whatever it is, each on its own row of a grid.
#pragma once

#include <QGridLayout>
#include <QObject>
#include <memory>
#include <span>

#include "imaging/ops/operation.h"

namespace quillmark::engine {

enum class Editor {
    number,  ///< slider and spin box
    choice,  ///< a drop-down list of codes
    list,    ///< the same as an open list, for codes that one likes to try in turn
    toggle,  ///< a check box: 0 or 1
    colour,  ///< 0xRRGGBB
};

class ParameterField : public QObject {
    Q_OBJECT

  public:
    /// An editor for parameter with children of parent, in the next free row of grid. label may hold a
    /// mnemonic. choices are those offered; numbers go by the parameter's range. name becomes the object name
    /// of the editor, with "Slider" and "Reason" behind it those of its companions.
    static ParameterField* create(Editor editor, const imaging::Parameter& parameter,
                                  std::span<const imaging::Choice> choices, const QString& label,
                                  const QString& name, QGridLayout& grid, QWidget& parent);

    /// The value in the engine's units: the last one that could be taken.
    virtual int value() const = 0;
    virtual void set_value(int value) = 0;
    /// Whether value can be shown by set_value as it is.
    virtual bool takes(int value) const = 0;
    /// Why what stands in the field cannot be taken; empty when it can.
    virtual QString reason() const { return {}; }
    /// Says beside the field why it does not go together with another; an empty text takes that back.
    virtual void show_conflict(const QString&) {}
    virtual void focus() = 0;

  signals:
    /// The value, or whether there is one, may have changed.
    void changed();

  protected:
    using QObject::QObject;
};

}  // namespace quillmark::engine
