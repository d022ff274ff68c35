// Random rules, written and read back, against the same in exact fractions.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "onvif/transform_onvif.h"
#include "rule_stage.h"
#include "support/syslog_capture.h"

namespace {

using Integer = __int128;

constexpr int kRotations[] = {0, 90, 180, 270};

/// TARNWATCH_RULE_ROUNDS, the number of random rules; 500 without it.
int rounds() {
    const char* text = std::getenv("TARNWATCH_RULE_ROUNDS");
    return text != nullptr ? std::stoi(text) : 500;
}

/// A fraction with a denominator above 0.
struct Fraction {
    Integer numerator;
    Integer denominator;
};

Fraction fraction(Integer numerator, Integer denominator) {
    return denominator < 0 ? Fraction{-numerator, -denominator} : Fraction{numerator, denominator};
}

Integer floorOf(Fraction value) {
    const Integer quotient = value.numerator / value.denominator;
    return value.numerator < quotient * value.denominator ? quotient - 1 : quotient;
}

Integer towardsZero(Fraction value) {
    return value.numerator < 0 ? -floorOf({-value.numerator, value.denominator}) : floorOf(value);
}

/// The nearest integer, of two the even one.
Integer nearestEven(Fraction value) {
    const Integer below = floorOf(value);
    const Integer twice = 2 * (value.numerator - below * value.denominator);
    if (twice == value.denominator) {
        return below % 2 == 0 ? below : below + 1;
    }
    return twice < value.denominator ? below : below + 1;
}

Integer nearestAwayFromZero(Fraction value) {
    const Fraction magnitude{value.numerator < 0 ? -value.numerator : value.numerator,
                             value.denominator};
    const Integer rounded =
        floorOf({2 * magnitude.numerator + magnitude.denominator, 2 * magnitude.denominator});
    return value.numerator < 0 ? -rounded : rounded;
}

/// Where a rotation takes an axis of the view from: x or y of the pixel, and from which end.
struct Source {
    bool isX;
    bool isFromFarEnd;
};

/// x and y of the configuration from those of the pixel, and the reverse. Not each other's inverse
/// at 90 and 270.
const std::map<int, std::pair<Source, Source>> kFromPixel = {
    {0, {{true, false}, {false, false}}},
    {90, {{false, false}, {true, true}}},
    {180, {{true, true}, {false, true}}},
    {270, {{false, true}, {true, false}}},
};

/// The hundredths that are stored for a pixel along a side.
Integer storedHundredths(int pixel, int side, bool isFromFarEnd) {
    const Integer fromCentre = isFromFarEnd ? side - 2 * pixel : 2 * pixel - side;
    const Integer units = towardsZero(fraction(fromCentre * 4096, side));
    return nearestEven({units * 100, 4096});
}

/// The pixel that stored hundredths are read as.
Integer readPixel(Integer hundredths, int side, bool isFromFarEnd) {
    const Integer units = nearestAwayFromZero({hundredths * 4096, 100});
    const Integer pixel = towardsZero({(units + 4096) * side, 8192});
    return isFromFarEnd ? side - pixel : pixel;
}

/// A pixel as it comes back.
Point expectedPoint(const Point& point, const StreamSettings& settings) {
    const auto stored = [&](Source source) {
        return storedHundredths(source.isX ? point.x : point.y,
                                source.isX ? settings.width : settings.height, source.isFromFarEnd);
    };
    const auto read = [&](Integer x, Integer y, Source source) {
        return static_cast<std::int16_t>(readPixel(source.isX ? x : y,
                                                   source.isX ? settings.width : settings.height,
                                                   source.isFromFarEnd));
    };
    const auto& [first, second] = kFromPixel.at(settings.rotation);
    const Integer x = stored(first);
    const Integer y = stored(second);
    return {read(x, y, first), read(x, y, second)};
}

/// The single-precision number next to hundredths of 1 to 100, exactly.
Fraction inSinglePrecision(int hundredths) {
    Integer scale = 1;
    while (hundredths * scale < Integer{100} << 23) {
        scale *= 2;
    }
    return {nearestEven({hundredths * scale, 100}), scale};
}

/// floor((1 - s) * k + 1/2)
Integer filterValue(Fraction sensitivity, int greatest) {
    const Integer insensitivity = sensitivity.denominator - sensitivity.numerator;
    return floorOf(
        {2 * insensitivity * greatest + sensitivity.denominator, 2 * sensitivity.denominator});
}

/// Hundredths of the sensitivity that is read back for hundredths that were written: all three
/// scales divide 100.
int expectedSensitivity(int hundredths) {
    if (hundredths == 0) {
        return 100;
    }
    const Fraction sensitivity = inSinglePrecision(hundredths);
    int least = 100;
    for (const auto& [greatest, smallest] : {std::pair(5, 1), std::pair(20, 3), std::pair(25, 3)}) {
        const auto value = static_cast<int>(filterValue(sensitivity, greatest));
        if (value >= smallest) {
            least = std::min(least, (greatest - value) * 100 / greatest);
        }
    }
    return least;
}

std::string asHundredths(int hundredths) {
    const std::string decimals = std::to_string(hundredths % 100);
    return std::to_string(hundredths / 100) + "." + (decimals.size() < 2 ? "0" : "") + decimals;
}

std::string xmlOf(const std::string& name, int sensitivity, const std::vector<Point>& points) {
    std::string xml = "\t<tt:Rule Name=\"" + name +
                      "\" Type=\"tt:MotionRegionDetector\" "
                      "xmlns:tt=\"http://www.onvif.org/ver10/schema\" "
                      "xmlns:axt=\"http://www.onvif.org/ver20/analytics\">\n"
                      "\t\t<tt:Parameters>\n\t\t\t<tt:ElementItem Name=\"MotionRegion\">\n"
                      "\t\t\t\t<axt:MotionRegionConfig Sensitivity=\"" +
                      asHundredths(sensitivity) + "\">\n\t\t\t\t\t<tt:Polygon>\n";
    for (const Point& point : points) {
        xml += "\t\t\t\t\t\t<tt:Point x=\"" + std::to_string(point.x) + "\" y=\"" +
               std::to_string(point.y) + "\"/>\n";
    }
    return xml +
           "\t\t\t\t\t</tt:Polygon>\n\t\t\t\t</axt:MotionRegionConfig>\n"
           "\t\t\t</tt:ElementItem>\n\t\t</tt:Parameters>\n\t</tt:Rule>\n";
}

std::string documentOf(const std::string& rules) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GetRules>\n" + rules + "</GetRules>";
}

class RuleRoundTrip : public testing::Test {
protected:
    int between(int least, int greatest) {
        return std::uniform_int_distribution<int>(least, greatest)(random);
    }

    StreamSettings anyStream(int rotation) {
        const bool isSmall = between(0, 3) == 0;
        return {between(1, isSmall ? 50 : 8192), between(1, isSmall ? 50 : 8192), rotation,
                between(0, 1) == 1};
    }

    std::vector<Point> anyPoints(const StreamSettings& settings) {
        std::vector<Point> points(static_cast<std::size_t>(between(0, 20)));
        for (Point& point : points) {
            point = {static_cast<std::int16_t>(between(0, settings.width)),
                     static_cast<std::int16_t>(between(0, settings.height))};
        }
        return points;
    }

    /// Writes rules of camera 1 into an empty document, and gives what is read back.
    std::string writeAndRead(const std::string& xml, const StreamSettings& settings) {
        const Maybe<OnvifRules> rules = readRules(xml, 1, settings);
        EXPECT_TRUE(rules.hasValue());
        document.store("", "");
        const auto created =
            OnvifConfigConverter::createRules(rules.get(), document.path(), settings);
        EXPECT_TRUE(created.text.hasValue());
        document.write(created.text.get());
        return OnvifConfigConverter::getRules(document.path(), 1, settings).text.get();
    }

    std::mt19937 random{20260711};
    StoredDocument document;
    SyslogCapture log;
};

}  // namespace

TEST_F(RuleRoundTrip, ComesBackAsExactFractionsTell) {
    for (int round = 0; round < rounds(); ++round) {
        const StreamSettings settings = anyStream(kRotations[round % 4]);
        std::string written;
        std::string expected;
        for (int number = between(1, 3); number > 0; --number) {
            const std::string name = "Rule " + std::to_string(number);
            const int sensitivity = between(0, 100);
            const std::vector<Point> points = anyPoints(settings);
            std::vector<Point> readBack;
            for (const Point& point : points) {
                readBack.push_back(expectedPoint(point, settings));
            }
            written += xmlOf(name, sensitivity, points);
            expected += xmlOf(name, expectedSensitivity(sensitivity), readBack);
        }
        ASSERT_EQ(documentOf(expected), writeAndRead(documentOf(written), settings))
            << settings.width << " x " << settings.height << " at " << settings.rotation;
    }
    EXPECT_TRUE(log.lines().empty()) << log.texts().front();
}

TEST_F(RuleRoundTrip, ComesBackForEachSensitivity) {
    std::string written;
    std::string expected;
    for (int sensitivity = 0; sensitivity <= 100; ++sensitivity) {
        const std::string name = std::to_string(sensitivity);
        written += xmlOf(name, sensitivity, {});
        expected += xmlOf(name, expectedSensitivity(sensitivity), {});
    }
    EXPECT_EQ(documentOf(expected), writeAndRead(documentOf(written), kStream));
}

// Sizes and pixels of any value: the same in unsigned numbers, which wrap by themselves.
TEST_F(RuleRoundTrip, WrapsIn32BitsForStreamsOfAnySize) {
    std::uniform_int_distribution<std::int32_t> any(INT32_MIN, INT32_MAX);
    const auto wrapped = [](Integer value) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
    };
    const auto normalised = [&](int pixel, int side, bool isFromFarEnd) {
        const Integer twice = Integer{2} * pixel;
        const Integer shifted = (isFromFarEnd ? side - twice : twice - side) * 4096;
        const Integer units = side == 0 ? 0 : towardsZero(fraction(wrapped(shifted), side));
        return static_cast<double>(units) / 4096;
    };
    const auto pixelOf = [&](int units, int side, bool isFromFarEnd) {
        const Integer pixel = towardsZero({wrapped((Integer{units} + 4096) * side), 8192});
        return static_cast<std::int16_t>(wrapped(isFromFarEnd ? side - pixel : pixel));
    };
    for (int round = 0; round < 20 * rounds(); ++round) {
        const StreamSettings settings(any(random), any(random), kRotations[round % 4], false);
        const int x = any(random);
        const int y = any(random);
        const auto& [first, second] = kFromPixel.at(settings.rotation);
        const auto side = [&](Source source) {
            return source.isX ? settings.width : settings.height;
        };
        EXPECT_EQ(Transform::Onvif::fromPixelValue(x, y, settings),
                  std::pair(normalised(first.isX ? x : y, side(first), first.isFromFarEnd),
                            normalised(second.isX ? x : y, side(second), second.isFromFarEnd)));
        const int unitsX = between(-4096, 4096);
        const int unitsY = between(-4096, 4096);
        EXPECT_EQ(
            Transform::Onvif::toPixelValue(unitsX / 4096.0, unitsY / 4096.0, settings),
            (Point{pixelOf(first.isX ? unitsX : unitsY, side(first), first.isFromFarEnd),
                   pixelOf(second.isX ? unitsX : unitsY, side(second), second.isFromFarEnd)}));
    }
}

// What the asymmetry amounts to, but for the loss of units and pixels: each coordinate is negated
// about the centre and scaled from its own side to the other.
TEST_F(RuleRoundTrip, NegatesAndScalesAtRotations90And270) {
    for (int round = 0; round < rounds(); ++round) {
        const StreamSettings settings(between(100, 8192), between(100, 8192),
                                      90 + 180 * (round % 2), false);
        const Point point{static_cast<std::int16_t>(between(0, settings.width)),
                          static_cast<std::int16_t>(between(0, settings.height))};
        const auto [x, y] = Transform::Onvif::fromPixelValue(point.x, point.y, settings);
        const Point back = Transform::Onvif::toPixelValue(x, y, settings);
        const double ratio = static_cast<double>(settings.width) / settings.height;
        const double fromCentreX = point.x - settings.width / 2.0;
        const double fromCentreY = point.y - settings.height / 2.0;
        EXPECT_NEAR(back.x, settings.height / 2.0 - fromCentreX / ratio,
                    2 + settings.height / 4096.0);
        EXPECT_NEAR(back.y, settings.width / 2.0 - fromCentreY * ratio,
                    2 + settings.width / 4096.0);
    }
}
