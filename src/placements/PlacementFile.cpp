#include "placements/PlacementFile.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "common/JsonText.h"

namespace mavo {

using nlohmann::json;

namespace {

bool finite(const RelFrame& r) {
    return std::isfinite(r.fx) && std::isfinite(r.fy) && std::isfinite(r.fw) && std::isfinite(r.fh);
}

// Decoding failures unwind to decodePlacementFile through this one exception type.
struct Invalid {};

const json& member(const json& object, const char* name) {
    auto it = object.find(name);
    if (it == object.end()) throw Invalid{};
    return *it;
}

double number(const json& object, const char* name) {
    const json& v = member(object, name);
    if (!v.is_number()) throw Invalid{};
    return v.get<double>();
}

// An explicit null reads as absent, like a missing member.
std::optional<bool> optionalBool(const json& object, const char* name) {
    auto it = object.find(name);
    if (it == object.end() || it->is_null()) return std::nullopt;
    if (!it->is_boolean()) throw Invalid{};
    return it->get<bool>();
}

int integer(const json& object, const char* name) {
    const json& v = member(object, name);
    if (v.is_number_integer()) {
        // Covers both signed and unsigned storage.
        if (v.is_number_unsigned()) {
            auto u = v.get<std::uint64_t>();
            if (u > static_cast<std::uint64_t>(std::numeric_limits<int>::max())) throw Invalid{};
            return static_cast<int>(u);
        }
        auto s = v.get<std::int64_t>();
        if (s < std::numeric_limits<int>::min() || s > std::numeric_limits<int>::max()) {
            throw Invalid{};
        }
        return static_cast<int>(s);
    }
    // A float that is a whole number ("1.0") still reads as an integer.
    if (v.is_number_float()) {
        double d = v.get<double>();
        if (std::trunc(d) == d && d >= std::numeric_limits<int>::min() &&
            d <= std::numeric_limits<int>::max()) {
            return static_cast<int>(d);
        }
    }
    throw Invalid{};
}

PlacementRecord decodeRecord(const json& v) {
    if (!v.is_object()) throw Invalid{};
    PlacementRecord r;
    const json& uuid = member(v, "displayUUID");
    if (!uuid.is_string()) throw Invalid{};
    r.displayUUID = uuid.get<std::string>();
    const json& rel = member(v, "rel");
    if (!rel.is_object()) throw Invalid{};
    r.rel = {number(rel, "fx"), number(rel, "fy"), number(rel, "fw"), number(rel, "fh")};
    r.updatedAt = number(v, "updatedAt");
    r.topCenter = optionalBool(v, "topCenter");
    r.maximized = optionalBool(v, "maximized");
    return r;
}

}  // namespace

std::string encodePlacementFile(const PlacementFileV1& file) {
    json records = json::object();
    for (const auto& [key, r] : file.records) {
        // JSON has no NaN or infinity: such a record is left out, the others still saved.
        if (!finite(r.rel) || !std::isfinite(r.updatedAt)) continue;
        json rec = {
            {"displayUUID", r.displayUUID},
            {"rel", {{"fx", r.rel.fx}, {"fy", r.rel.fy}, {"fw", r.rel.fw}, {"fh", r.rel.fh}}},
            {"updatedAt", r.updatedAt},
        };
        if (r.topCenter) rec["topCenter"] = *r.topCenter;
        if (r.maximized) rec["maximized"] = *r.maximized;
        records[key] = std::move(rec);
    }
    json doc = {{"version", file.version}, {"records", std::move(records)}};
    return dumpJson(doc);
}

std::optional<PlacementFileV1> decodePlacementFile(const std::string& text) {
    try {
        auto parsed = parseJson(text, kMaxPlacementFileDepth);
        if (!parsed || !parsed->is_object()) return std::nullopt;
        const json& doc = *parsed;
        PlacementFileV1 file;
        file.version = integer(doc, "version");
        const json& records = member(doc, "records");
        if (!records.is_object()) return std::nullopt;
        for (const auto& [key, value] : records.items()) file.records[key] = decodeRecord(value);
        return file;
    } catch (const Invalid&) {
        return std::nullopt;
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

}  // namespace mavo
