#pragma once

#include <algorithm>

namespace mavo {

struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

// Rectangles are (origin, size) in doubles; which way y grows is the caller's convention.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return x; }
    double minY() const { return y; }
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    Point origin() const { return {x, y}; }
    Size size() const { return {width, height}; }
    double area() const { return width * height; }
    bool isEmpty() const { return !(width > 0) || !(height > 0); }

    friend bool operator==(const Rect&, const Rect&) = default;
};

inline Rect makeRect(Point origin, Size size) {
    return {origin.x, origin.y, size.width, size.height};
}

// The overlap of two rectangles, or nothing when they share no area (touching edges share none).
inline bool intersects(const Rect& a, const Rect& b) {
    return a.minX() < b.maxX() && b.minX() < a.maxX() && a.minY() < b.maxY() &&
           b.minY() < a.maxY() && !a.isEmpty() && !b.isEmpty();
}

inline Rect intersection(const Rect& a, const Rect& b) {
    if (!intersects(a, b)) return {};
    double x0 = std::max(a.minX(), b.minX());
    double y0 = std::max(a.minY(), b.minY());
    double x1 = std::min(a.maxX(), b.maxX());
    double y1 = std::min(a.maxY(), b.maxY());
    return {x0, y0, x1 - x0, y1 - y0};
}

// Area shared by two rectangles; 0 when they do not intersect.
inline double intersectionArea(const Rect& a, const Rect& b) {
    return intersects(a, b) ? intersection(a, b).area() : 0.0;
}

}  // namespace mavo
