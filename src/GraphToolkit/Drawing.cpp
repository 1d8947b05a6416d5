// A graph's description as a picture.

#include <ymdshow/GraphDescription.h>

#include <algorithm>

#include "Guard.h"

namespace ymdshow {

namespace {

using Filters = std::vector<FilterDescription>;

constexpr int kBoxWidth = 240;
constexpr int kColumn = 500; // room for the media types between two boxes
constexpr int kPinHeight = 34;
constexpr int kHead = 40;
constexpr int kGap = 30;
constexpr int kMargin = 20;
constexpr int kStub = 40; // what an open pin is drawn with

/// With the five characters of XML replaced, which DOT takes in HTML-like labels, too.
std::wstring Escaped(const std::wstring& text) {
    std::wstring out;
    for (const wchar_t c : text) {
        switch (c) {
        case L'&':
            out += L"&amp;";
            break;
        case L'<':
            out += L"&lt;";
            break;
        case L'>':
            out += L"&gt;";
            break;
        case L'"':
            out += L"&quot;";
            break;
        default:
            out += c < L' ' ? L' ' : c;
        }
    }
    return out;
}

std::wstring Quoted(const std::wstring& text) {
    std::wstring out = L"\"";
    for (const wchar_t c : text) {
        if (c == L'"' || c == L'\\') {
            out += L'\\';
        }
        out += c < L' ' ? L' ' : c;
    }
    return out + L"\"";
}

/// The node or the port of a place in a list.
std::wstring Id(wchar_t kind, std::size_t index) {
    return kind + std::to_wstring(index);
}

bool Leads(const PinDescription& pin, const Filters& filters) {
    return pin.isOutput && pin.filter >= 0 && static_cast<std::size_t>(pin.filter) < filters.size();
}

std::wstring Cells(const FilterDescription& filter, bool outputs) {
    std::wstring text;
    for (std::size_t i = 0; i < filter.pins.size(); ++i) {
        const PinDescription& pin = filter.pins[i];
        if (pin.isOutput == outputs) {
            text += L"<tr><td port=\"" + Id(L'p', i) + L"\"" +
                    (pin.isConnected ? L"" : L" bgcolor=\"#ffd0d0\"") + L">" + Escaped(pin.name) +
                    (pin.isConnected || pin.mediaType.empty() ? L""
                                                              : L"<br/>" + Escaped(pin.mediaType)) +
                    L"</td></tr>";
        }
    }
    return text.empty() ? L""
                        : L"<td><table border=\"0\" cellborder=\"1\">" + text + L"</table></td>";
}

std::wstring Dot(const Filters& filters) {
    std::wstring text = L"digraph graph_of_filters {\n  rankdir=LR;\n  node [shape=plain];\n";
    for (std::size_t i = 0; i < filters.size(); ++i) {
        text += L"  " + Id(L'f', i) + L" [label=<<table><tr>" + Cells(filters[i], false) +
                L"<td><b>" + Escaped(filters[i].name) + L"</b></td>" + Cells(filters[i], true) +
                L"</tr></table>>];\n";
    }
    for (std::size_t i = 0; i < filters.size(); ++i) {
        for (std::size_t p = 0; p < filters[i].pins.size(); ++p) {
            const PinDescription& pin = filters[i].pins[p];
            if (Leads(pin, filters)) {
                text += L"  " + Id(L'f', i) + L":" + Id(L'p', p) + L" -> " +
                        Id(L'f', static_cast<std::size_t>(pin.filter));
                text += pin.pin >= 0 ? L":" + Id(L'p', static_cast<std::size_t>(pin.pin)) : L"";
                text += L" [label=" + Quoted(pin.mediaType) + L"];\n";
            }
        }
    }
    return text + L"}\n";
}

struct Box {
    int left = 0;
    int top = 0;
    int height = 0;
    int depth = 0;
};

/// How deep a filter stands: behind everything that feeds it. A ring ends the search.
std::vector<Box> LayOut(const Filters& filters) {
    std::vector<Box> boxes(filters.size());
    for (std::size_t round = 0; round < filters.size(); ++round) {
        for (std::size_t i = 0; i < filters.size(); ++i) {
            for (const PinDescription& pin : filters[i].pins) {
                if (Leads(pin, filters)) {
                    int& depth = boxes[static_cast<std::size_t>(pin.filter)].depth;
                    depth = std::max(
                        depth, std::min(boxes[i].depth + 1, static_cast<int>(filters.size()) - 1));
                }
            }
        }
    }
    std::vector<int> bottoms(filters.size() + 1, kMargin);
    for (std::size_t i = 0; i < filters.size(); ++i) {
        const auto& pins = filters[i].pins;
        const auto outputs = std::count_if(pins.begin(), pins.end(),
                                           [](const PinDescription& pin) { return pin.isOutput; });
        const auto rows = std::max(outputs, static_cast<std::ptrdiff_t>(pins.size()) - outputs);
        int& bottom = bottoms[static_cast<std::size_t>(boxes[i].depth)];
        boxes[i].left = kMargin + kStub + boxes[i].depth * kColumn;
        boxes[i].top = bottom;
        boxes[i].height = kHead + static_cast<int>(rows) * kPinHeight;
        bottom += boxes[i].height + kGap;
    }
    return boxes;
}

/// Where a pin leaves its box.
POINT PinPlace(const FilterDescription& filter, const Box& box, std::size_t pin) {
    const bool isOutput = filter.pins[pin].isOutput;
    const auto row =
        std::count_if(filter.pins.begin(), filter.pins.begin() + static_cast<std::ptrdiff_t>(pin),
                      [=](const PinDescription& other) { return other.isOutput == isOutput; });
    return {box.left + (isOutput ? kBoxWidth : 0),
            box.top + kHead + static_cast<int>(row) * kPinHeight + kPinHeight / 2};
}

std::wstring Line(POINT from, POINT to, const wchar_t* style) {
    return L"<path class=\"" + std::wstring(style) + L"\" d=\"M" + std::to_wstring(from.x) + L" " +
           std::to_wstring(from.y) + L" L" + std::to_wstring(to.x) + L" " + std::to_wstring(to.y) +
           L"\"/>\n";
}

std::wstring Words(long x, long y, const wchar_t* style, const std::wstring& text) {
    return L"<text class=\"" + std::wstring(style) + L"\" x=\"" + std::to_wstring(x) + L"\" y=\"" +
           std::to_wstring(y) + L"\">" + Escaped(text) + L"</text>\n";
}

std::wstring PinsOf(const Filters& filters, const std::vector<Box>& boxes, std::size_t index) {
    std::wstring text;
    const FilterDescription& filter = filters[index];
    for (std::size_t p = 0; p < filter.pins.size(); ++p) {
        const PinDescription& pin = filter.pins[p];
        const POINT place = PinPlace(filter, boxes[index], p);
        text += Words(place.x + (pin.isOutput ? -6 : 6), place.y + 4,
                      pin.isOutput ? L"pin right" : L"pin", pin.name);
        if (Leads(pin, filters)) {
            const auto to = static_cast<std::size_t>(pin.filter);
            const auto peer = static_cast<std::size_t>(std::max(pin.pin, 0));
            const POINT end = peer < filters[to].pins.size()
                                  ? PinPlace(filters[to], boxes[to], peer)
                                  : POINT{boxes[to].left, boxes[to].top + kHead / 2};
            text += Line(place, end, L"link");
            text += Words(place.x + 8, place.y - 5, L"type", pin.mediaType);
        } else if (!pin.isConnected) {
            const POINT end{place.x + (pin.isOutput ? kStub : -kStub), place.y};
            text += Line(place, end, L"open");
            text += pin.isOutput
                        ? Words(place.x + 8, place.y - 5, L"type", L"open: " + pin.mediaType)
                        : L"";
        }
    }
    return text;
}

std::wstring Svg(const Filters& filters) {
    const std::vector<Box> boxes = LayOut(filters);
    int width = 2 * kMargin;
    int height = 2 * kMargin;
    std::wstring text;
    for (std::size_t i = 0; i < filters.size(); ++i) {
        const Box& box = boxes[i];
        width = std::max(width, box.left + kColumn);
        height = std::max(height, box.top + box.height + kMargin);
        text += L"<rect x=\"" + std::to_wstring(box.left) + L"\" y=\"" + std::to_wstring(box.top) +
                L"\" width=\"" + std::to_wstring(kBoxWidth) + L"\" height=\"" +
                std::to_wstring(box.height) + L"\" rx=\"5\"/>\n";
        text += Words(box.left + kBoxWidth / 2, box.top + 25, L"name", filters[i].name);
        text += PinsOf(filters, boxes, i);
    }
    return L"<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_wstring(width) +
           L"\" height=\"" + std::to_wstring(height) +
           L"\" font-family=\"sans-serif\" font-size=\"12\">\n<style>rect{fill:#eef;stroke:#336}"
           L".name{font-weight:bold;text-anchor:middle}.right{text-anchor:end}"
           L".type{font-size:10px;fill:#555}.link{stroke:#336;fill:none}"
           L".open{stroke:#c00;stroke-dasharray:4 3;fill:none}</style>\n" +
           text + L"</svg>\n";
}

} // namespace

std::wstring DrawGraph(const std::vector<FilterDescription>& filters, GraphFormat format) {
    return AnswerOr(std::wstring(),
                    [&] { return format == GraphFormat::Dot ? Dot(filters) : Svg(filters); });
}

} // namespace ymdshow
