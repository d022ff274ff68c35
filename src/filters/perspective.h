#pragma once

#include <vector>

class PerspectiveBar;

/// How large things look, by where their feet stand: a straight line fitted through bars.
class Perspective {
public:
    /// Bars at two or more places; nothing is checked here.
    explicit Perspective(const std::vector<PerspectiveBar>& bars);

    /// The real-world size of what measures `size` scene units with its foot at coordinate `foot`.
    /// Where the line has no sane scale the result means nothing; beyond the range of an int it is
    /// the end of the range. Bars that are all at one place give the greatest int, whatever is
    /// asked.
    int calculateRealWorldSize(int foot, int size) const;

private:
    float slope = 0;
    float offset = 0;
};
