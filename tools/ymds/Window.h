#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "Keys.h"

namespace ymds {

/// Handles the window messages that have arrived.
void PumpMessages();

/// Handles window messages for `milliseconds`.
void WaitAndPump(DWORD milliseconds);

/// The window of the player, and in it a child window, the stage, that keeps the picture's
/// shape; the rest stays black. Hidden, it only keeps the renderer from opening a window.
class PlayWindow {
public:
    PlayWindow(bool visible, const std::wstring& title);
    ~PlayWindow();
    PlayWindow(const PlayWindow&) = delete;
    PlayWindow& operator=(const PlayWindow&) = delete;

    HWND Stage() const { return m_stage; }
    SIZE StageSize() const;

    /// Gives the window the picture's size, within the screen, and the stage its shape.
    void Shape(long width, long height, double aspectRatio);

    /// True once after each change of the stage's size.
    bool TakeResized();
    bool IsClosed() const { return m_isClosed; }
    void TakeActions(std::vector<Action>& actions);

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT Handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void LayOut();

    HWND m_frame = nullptr;
    HWND m_stage = nullptr;
    double m_aspectRatio = 0;
    bool m_isVisible = false;
    bool m_isClosed = false;
    bool m_isResized = false;
    std::vector<Action> m_actions;
};

} // namespace ymds
