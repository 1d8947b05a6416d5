#include "DefaultScheme.h"

#include "Console.h"

namespace ymds {

namespace {

constexpr char kPatternScheme[] = R"({"Schemes": [{"Type": "test", "Filters": [
    {"Name": "Pattern Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
     "Path": "filters\\ymdpattern.ax", "Type": "source", "IsCache": false}]}]})";

// Wine's default video renderer draws nothing into another window and gives no usable
// picture, its plain one does both. Standing in the graph beforehand, it is used.
constexpr char kWineScheme[] = R"({"Schemes": [{"Type": "video_global;unknown", "Filters": [
    {"Name": "Video Renderer", "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}",
     "Type": "render", "IsCache": false}]}]})";

} // namespace

bool UseDefaultScheme(ymdshow::CCoderScheme& scheme) {
    return scheme.LoadSchemeByScript(kPatternScheme, 0) &&
           (!RunsUnderWine() || scheme.LoadSchemeByScript(kWineScheme, 0));
}

} // namespace ymds
