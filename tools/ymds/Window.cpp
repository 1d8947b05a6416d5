#include "Window.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ymds {

namespace {

constexpr wchar_t kClassName[] = L"YmdsPlayWindow";
constexpr DWORD kFrameStyle = WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN;

} // namespace

void PumpMessages() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void WaitAndPump(DWORD milliseconds) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    PumpMessages();
    for (ULONGLONG now = GetTickCount64(); now < end; now = GetTickCount64()) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
        PumpMessages();
    }
}

PlayWindow::PlayWindow(bool visible, const std::wstring& title) : m_isVisible(visible) {
    const HINSTANCE instance = GetModuleHandleW(nullptr);
    WNDCLASSEXW description{};
    description.cbSize = sizeof(description);
    description.lpfnWndProc = Procedure;
    description.hInstance = instance;
    description.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));
    description.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    description.lpszClassName = kClassName;
    RegisterClassExW(&description);

    RECT area{0, 0, 640, 360};
    AdjustWindowRect(&area, kFrameStyle, FALSE);
    m_frame = CreateWindowExW(0, kClassName, title.c_str(), kFrameStyle, CW_USEDEFAULT,
                              CW_USEDEFAULT, area.right - area.left, area.bottom - area.top,
                              nullptr, nullptr, instance, this);
    m_stage = CreateWindowExW(0, kClassName, L"", WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN, 0, 0,
                              640, 360, m_frame, nullptr, instance, this);
}

PlayWindow::~PlayWindow() {
    if (m_frame != nullptr) {
        DestroyWindow(m_frame);
    }
}

SIZE PlayWindow::StageSize() const {
    RECT area{};
    GetClientRect(m_stage, &area);
    return {area.right, area.bottom};
}

void PlayWindow::Shape(long width, long height, double aspectRatio) {
    m_aspectRatio = aspectRatio;
    if (width > 0 && height > 0 && aspectRatio > 0) {
        RECT work{0, 0, 1024, 768};
        SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
        const double room = std::min(0.9 * (work.right - work.left) / (height * aspectRatio),
                                     0.85 * (work.bottom - work.top) / static_cast<double>(height));
        const double scale = std::min(1.0, room);
        RECT area{0, 0, std::lround(height * aspectRatio * scale), std::lround(height * scale)};
        AdjustWindowRect(&area, kFrameStyle, FALSE);
        SetWindowPos(m_frame, nullptr, 0, 0, area.right - area.left, area.bottom - area.top,
                     SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    }
    LayOut();
    if (m_isVisible) {
        ShowWindow(m_frame, SW_SHOW);
        SetForegroundWindow(m_frame);
        UpdateWindow(m_frame);
    }
}

bool PlayWindow::TakeResized() {
    return std::exchange(m_isResized, false);
}

void PlayWindow::TakeActions(std::vector<Action>& actions) {
    actions.insert(actions.end(), m_actions.begin(), m_actions.end());
    m_actions.clear();
}

void PlayWindow::LayOut() {
    RECT client{};
    GetClientRect(m_frame, &client);
    if (m_stage == nullptr || client.right <= 0 || client.bottom <= 0) {
        return;
    }
    long width = client.right;
    long height = client.bottom;
    if (m_aspectRatio > 0) {
        width = std::min(width, std::lround(static_cast<double>(height) * m_aspectRatio));
        height = std::min(height, std::lround(static_cast<double>(width) / m_aspectRatio));
    }
    const SIZE before = StageSize();
    SetWindowPos(m_stage, nullptr, (client.right - width) / 2, (client.bottom - height) / 2, width,
                 height, SWP_NOZORDER | SWP_NOACTIVATE);
    m_isResized = m_isResized || before.cx != width || before.cy != height;
}

LRESULT CALLBACK PlayWindow::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA,
                          reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* self = reinterpret_cast<PlayWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    return self != nullptr ? self->Handle(window, message, wParam, lParam)
                           : DefWindowProcW(window, message, wParam, lParam);
}

LRESULT PlayWindow::Handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_SIZE:
        if (window == m_frame) {
            LayOut();
        }
        return 0;
    case WM_CLOSE:
        // Destroyed later: the renderer's window still hangs on it.
        m_isClosed = true;
        return 0;
    case WM_KEYDOWN:
        if (const auto action = ActionOfKey(static_cast<WORD>(wParam), L'\0')) {
            m_actions.push_back(*action);
        }
        return 0;
    case WM_CHAR:
        if (const auto action = ActionOfKey(0, static_cast<wchar_t>(wParam))) {
            m_actions.push_back(*action);
        }
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

} // namespace ymds
