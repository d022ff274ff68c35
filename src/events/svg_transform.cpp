#include "events/svg_transform.h"

#include <glib.h>
#include <syslog.h>

#include <cmath>

namespace {

constexpr int kValues = 9;
/// The limit is a single-precision number on purpose.
constexpr double kLeastDeterminant = static_cast<double>(1e-5F);

/// 3 by 3, by rows.
struct Matrix {
    double m[3][3];

    explicit Matrix(const double* values)
        : m{{values[0], values[1], values[2]},
            {values[3], values[4], values[5]},
            {values[6], values[7], values[8]}} {}

    /// By the rule of Sarrus.
    double determinant() const {
        return m[0][0] * m[1][1] * m[2][2] + m[0][1] * m[1][2] * m[2][0] +
               m[0][2] * m[1][0] * m[2][1] - m[0][2] * m[1][1] * m[2][0] -
               m[0][0] * m[1][2] * m[2][1] - m[0][1] * m[1][0] * m[2][2];
    }

    /// The inverse's element of a row and a column, by the adjugate. Taking the cofactor's rows and
    /// columns round in a circle gives it its sign.
    double inverse(int row, int column, double determinant) const {
        const int r1 = (column + 1) % 3;
        const int r2 = (column + 2) % 3;
        const int c1 = (row + 1) % 3;
        const int c2 = (row + 2) % 3;
        return (m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1]) / determinant;
    }
};

/// " matrix(...)" with the upper two rows of the inverse, column by column; empty on failure.
std::string inverseTransform(const double* values, int count) {
    if (values == nullptr || count != kValues) {
        syslog(LOG_WARNING, "The Matrix needs 9 data values to be created.\n");
        return {};
    }
    const Matrix matrix(values);
    const double determinant = matrix.determinant();
    if (std::fabs(determinant) < kLeastDeterminant) {
        syslog(LOG_WARNING, "The TransformationMatrix must be invertible.\n");
        return {};
    }
    std::string text = " matrix(";
    for (int column = 0; column < 3; ++column) {
        for (int row = 0; row < 2; ++row) {
            g_autofree char* value =
                g_strdup_printf("%.4f ", matrix.inverse(row, column, determinant));
            text += value;
        }
    }
    return text + ")";
}

}  // namespace

std::string createSVGTransform(const double* matrix, int count) {
    return "<g transform=\"matrix(1 0 0 -1 0 0)" + inverseTransform(matrix, count) + "\" >";
}
