#include "common/JsonText.h"

namespace mavo {

using nlohmann::json;

namespace {
struct TooDeep {};
}  // namespace

std::optional<json> parseJson(std::string_view text, int maxDepth) {
    // The callback sees the depth of the enclosing containers; throwing stops the parse at the
    // first container that is too deep instead of reading on through the rest.
    auto limit = [maxDepth](int depth, json::parse_event_t event, json&) {
        bool opens =
            event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
        if (opens && depth >= maxDepth) throw TooDeep{};
        return true;
    };
    try {
        json value = json::parse(text, limit, /*allow_exceptions=*/false);
        if (value.is_discarded()) return std::nullopt;
        return value;
    } catch (const TooDeep&) {
        return std::nullopt;
    }
}

std::string dumpJson(const json& value, int indent) {
    return value.dump(indent, ' ', false, json::error_handler_t::replace);
}

}  // namespace mavo
