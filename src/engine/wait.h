// Waiting for work on another thread while the interface stays alive but takes no commands.
#pragma once

#include <QObject>
#include <functional>

namespace quillmark::engine {

/// Property (a boolean) of a widget whose click asks to close the main window: it is obeyed while work runs.
inline constexpr char kCloses[] = "closesMainWindow";

/// Runs work on a pool thread and returns when it has ended. Meanwhile paints, timers and Esc come through;
/// keys, mouse, drops and requests to close are swallowed. tick is called about every 30 ms; escape for each
/// Esc and for a request to close the main window, which is repeated once the work has ended. Work that ends
/// within a few milliseconds lets no event in at all.
void run_and_wait(const std::function<void()>& work, const std::function<void()>& tick,
                  const std::function<void()>& escape);

}  // namespace quillmark::engine
