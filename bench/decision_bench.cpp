// The decision about the objects of one scene: 20 objects with 8 vertices each, against 3 profiles
// of an include polygon and three exclude polygons, in two densities. Three ways beside each other:
//   predicates, then clip   exact predicates refuse; the rest goes through the clipping library,
//                           prepared as far as it goes and without rounding or moved vertices
//   told steps              ProtectionArea::checkByClipping()
//   proofs first            ProtectionArea::checkObject(), what the application does
// The last line of each density is the budget: proofs first at least 10 times the first.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <polyclipping/clipper.hpp>
#include <random>
#include <string>
#include <vector>

#include "geometry/polygon.h"
#include "guard/protection_area.h"
#include "tracking/tracking_object.h"

namespace {

constexpr int kScenes = 64;
constexpr int kObjects = 20;
constexpr int kProfiles = 3;
constexpr int kExcludes = 3;

using ClipperLib::Path;
using ClipperLib::Paths;

Path scaledUp(const Polygon& polygon) {
    Path path;
    for (const Point& point : polygon.points) {
        path.emplace_back(ClipperLib::cInt{point.x} << 16, ClipperLib::cInt{point.y} << 16);
    }
    return path;
}

// One profile, decided by predicates and the clipping library alone.
class ClippedArea {
public:
    ClippedArea(const Polygon& include, const std::vector<Polygon>& exclude)
        : includeArea(include), includePath(scaledUp(include)), excludeAreas(exclude) {
        for (const Polygon& area : exclude) {
            excludePaths.push_back(scaledUp(area));
        }
    }

    int check(const Polygon& outline) const {
        if (!includeArea.doesIntersect(outline)) {
            return 1;
        }
        Paths pieces = execute({scaledUp(outline)}, {includePath}, ClipperLib::ctIntersection);
        Paths live;
        for (std::size_t i = 0; i < excludeAreas.size(); ++i) {
            if (excludeAreas[i].doesIntersect(outline)) {
                live.push_back(excludePaths[i]);
            }
        }
        if (!pieces.empty() && !live.empty()) {
            pieces = execute(pieces, live, ClipperLib::ctDifference);
        }
        return pieces.empty() ? 2 : 0;
    }

private:
    static Paths execute(const Paths& subject, const Paths& clip, ClipperLib::ClipType type) {
        ClipperLib::Clipper clipper;
        clipper.AddPaths(subject, ClipperLib::ptSubject, true);
        clipper.AddPaths(clip, ClipperLib::ptClip, true);
        Paths result;
        clipper.Execute(type, result, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
        return result;
    }

    Polygon includeArea;
    Path includePath;
    std::vector<Polygon> excludeAreas;
    Paths excludePaths;
};

// Where things are and how large, in scene units.
struct Density {
    const char* name;
    int spread;  // of the objects, and of the areas' middles at half of it
    int includeRadius;
};

constexpr Density kFewNear{"few near", 3700, 1600};
constexpr Density kMostNear{"most near", 1500, 2500};

class World {
public:
    explicit World(const Density& density) : spread(density.spread), random(20) {
        for (int i = 0; i < kProfiles; ++i) {
            addProfile(density.includeRadius);
        }
        for (int i = 0; i < kScenes * kObjects; ++i) {
            const int radius = between(60, 350);
            objects.push_back(std::make_unique<TrackingObject>(
                i, star(between(-spread, spread), between(-spread, spread), radius, 8).clone()));
        }
    }

    std::vector<ProtectionArea> areas;
    std::vector<ClippedArea> clippedAreas;
    std::vector<std::unique_ptr<TrackingObject>> objects;

private:
    int between(int low, int high) { return std::uniform_int_distribution(low, high)(random); }

    // An outline as trackers give it: its vertices all round a middle, not quite on a circle.
    Polygon star(int x, int y, int radius, int count) {
        std::vector<short> xy;
        for (int i = 0; i < count; ++i) {
            const double angle = 2 * M_PI * (i + between(-30, 30) / 100.0) / count;
            const double distance = radius * between(70, 100) / 100.0;
            xy.push_back(clamped(x + distance * std::cos(angle)));
            xy.push_back(clamped(y + distance * std::sin(angle)));
        }
        return Polygon(xy.data(), count);
    }

    static short clamped(double value) {
        return static_cast<short>(std::clamp(std::lround(value), -4096L, 4096L));
    }

    void addProfile(int radius) {
        const int x = between(-spread / 2, spread / 2);
        const int y = between(-spread / 2, spread / 2);
        const Polygon include = star(x, y, radius, 6);
        std::vector<Polygon> excludes;
        areas.emplace_back(include);
        for (int i = 0; i < kExcludes; ++i) {
            excludes.push_back(star(x + between(-radius, radius), y + between(-radius, radius),
                                    radius * 2 / 5, 5));
            areas.back().addExcludeArea(excludes.back());
        }
        clippedAreas.emplace_back(include, excludes);
    }

    int spread;
    std::mt19937 random;
};

// Every scene in turn, so that no branch is learnt by heart.
template <typename Area, typename Decide>
void decideScenes(benchmark::State& state, World& world, const std::vector<Area>& areas,
                  Decide decide) {
    std::size_t first = 0;
    int verdicts[3] = {};
    for (auto _ : state) {
        for (const Area& area : areas) {
            for (std::size_t i = first; i < first + kObjects; ++i) {
                ++verdicts[decide(area, *world.objects[i])];
            }
        }
        first = (first + kObjects) % world.objects.size();
    }
    benchmark::DoNotOptimize(verdicts);
    const double all = verdicts[0] + verdicts[1] + verdicts[2];
    state.counters["inside %"] = 100 * verdicts[0] / all;
    state.counters["outside %"] = 100 * verdicts[1] / all;
    state.counters["excluded %"] = 100 * verdicts[2] / all;
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void addBenchmarks(const Density& density) {
    const auto world = std::make_shared<World>(density);
    const std::string name = density.name;
    benchmark::RegisterBenchmark(
        (name + "/predicates, then clip").c_str(), [world](benchmark::State& state) {
            decideScenes(state, *world, world->clippedAreas,
                         [](const ClippedArea& area, const TrackingObject& object) {
                             return area.check(*object.polygon);
                         });
        });
    benchmark::RegisterBenchmark((name + "/told steps").c_str(), [world](benchmark::State& state) {
        decideScenes(state, *world, world->areas,
                     [](const ProtectionArea& area, const TrackingObject& object) {
                         return area.checkByClipping(*object.polygon);
                     });
    });
    benchmark::RegisterBenchmark(
        (name + "/proofs first").c_str(), [world](benchmark::State& state) {
            decideScenes(state, *world, world->areas,
                         [](const ProtectionArea& area, const TrackingObject& object) {
                             return area.checkObject(object);
                         });
        });
}

// Prints what benchmarks usually print, and remembers the scenes per second.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto rate = run.counters.find("items_per_second");
            if (run.run_type == Run::RT_Iteration && rate != run.counters.end()) {
                double& best = rates[run.run_name.function_name];
                best = std::max(best, rate->second.value);
            }
        }
    }

    void printRatios() const {
        for (const Density& density : {kFewNear, kMostNear}) {
            const double proofs = rate(density, "proofs first");
            std::printf(
                "%s: %.0f scenes/s, %.1f times predicates, then clip (budget: 10), "
                "%.1f times the told steps\n",
                density.name, proofs, proofs / rate(density, "predicates, then clip"),
                proofs / rate(density, "told steps"));
        }
    }

private:
    // Not a number when it was left out.
    double rate(const Density& density, const std::string& way) const {
        const auto found = rates.find(std::string(density.name) + "/" + way);
        return found == rates.end() ? std::nan("") : found->second;
    }

    std::map<std::string, double> rates;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    addBenchmarks(kFewNear);
    addBenchmarks(kMostNear);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    return 0;
}
