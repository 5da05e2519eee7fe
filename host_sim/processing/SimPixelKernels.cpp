#include "processing/SimPixelKernels.h"

#include <opencv2/core/hal/intrin.hpp>

#include <algorithm>

namespace hostsim::kernels {

namespace {

inline uchar clampToByte(int v)
{
    return static_cast<uchar>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// The saturation factor in 1/128 steps: at most 2 * 128, so a distance to V
// times the factor fits 16 bits.
constexpr float kFactorSteps = 128.f;

inline int factorSteps(float factor)
{
    return cvRound(factor * kFactorSteps);
}

// The steps of one pixel: the factor's, unless that would take the smallest
// channel below 0 (spread * steps > V * 128); then V / spread, the factor
// that takes it exactly to 0. The vector code decides and rounds the same way.
inline int pixelSteps(int hi, int spread, int steps)
{
    if (spread * steps <= hi * 128)
        return steps;
    return cvRound(float(hi) / float(spread) * kFactorSteps);
}

// The saturation of one pixel; the vector code below does the same
// arithmetic lane by lane (same operations, same rounding), so a row's
// result does not depend on where its vector part ends.
inline void scaleSaturationPixel(uchar* p, int factorSteps)
{
    const int r = p[0], g = p[1], b = p[2];
    const int hi = std::max(std::max(r, g), b);
    const int lo = std::min(std::min(r, g), b);
    const int steps = pixelSteps(hi, hi - lo, factorSteps);
    // round(distance * steps / 128), saturating like the byte arithmetic below.
    auto moved = [steps](int distance) { return std::min((distance * steps + 64) >> 7, 255); };
    p[0] = static_cast<uchar>(std::max(hi - moved(hi - r), 0));
    p[1] = static_cast<uchar>(std::max(hi - moved(hi - g), 0));
    p[2] = static_cast<uchar>(std::max(hi - moved(hi - b), 0));
}

inline bool paintPixel(int level, const PaintRule& rule, uchar& paint)
{
    bool painted = false;
    if (rule.range && level >= rule.rangeLow && level <= rule.rangeHigh) {
        paint = rule.rangePaint;
        level = rule.rangePaint;
        painted = true;
    }
    if (rule.pole && (rule.poleBelow ? level < rule.poleLevel : level > rule.poleLevel)) {
        paint = rule.polePaint;
        painted = true;
    }
    return painted;
}

#if CV_SIMD128

// 16 bytes as four groups of four floats.
inline void toFloats(const cv::v_uint8x16& v, cv::v_float32x4 out[4])
{
    cv::v_uint16x8 lo16, hi16;
    cv::v_expand(v, lo16, hi16);
    cv::v_uint32x4 a, b, c, d;
    cv::v_expand(lo16, a, b);
    cv::v_expand(hi16, c, d);
    out[0] = cv::v_cvt_f32(cv::v_reinterpret_as_s32(a));
    out[1] = cv::v_cvt_f32(cv::v_reinterpret_as_s32(b));
    out[2] = cv::v_cvt_f32(cv::v_reinterpret_as_s32(c));
    out[3] = cv::v_cvt_f32(cv::v_reinterpret_as_s32(d));
}

// round(distance * steps / 128) for 16 lanes, saturated to a byte.
inline cv::v_uint8x16 scaledDistance(const cv::v_uint8x16& distance, const cv::v_uint16x8& steps0,
                                     const cv::v_uint16x8& steps1)
{
    cv::v_uint16x8 d0, d1;
    cv::v_expand(distance, d0, d1);
    const cv::v_uint16x8 half = cv::v_setall_u16(64);
    // distance <= 255 and steps <= 256: the products fit 16 bits.
    // (Plain multiplication; OpenCV's operator* saturates through 32 bits.)
    d0 = (cv::v_mul_wrap(d0, steps0) + half) >> 7;
    d1 = (cv::v_mul_wrap(d1, steps1) + half) >> 7;
    return cv::v_pack(d0, d1);
}

#endif

} // namespace

void scaleSaturationRow(uchar* rgb, int n, float factor)
{
    const int steps = factorSteps(factor);
    int x = 0;
#if CV_SIMD128
    const cv::v_uint16x8 vSteps = cv::v_setall_u16(static_cast<ushort>(steps));
    const cv::v_float32x4 one = cv::v_setall_f32(1.f);
    const cv::v_float32x4 stepsPerUnit = cv::v_setall_f32(kFactorSteps);
    for (; x + 16 <= n; x += 16) {
        uchar* p = rgb + 3 * x;
        cv::v_uint8x16 r, g, b;
        cv::v_load_deinterleave(p, r, g, b);
        const cv::v_uint8x16 hi = cv::v_max(cv::v_max(r, g), b);
        const cv::v_uint8x16 spread = hi - cv::v_min(cv::v_min(r, g), b);
        // Lanes where the factor's steps do not take the smallest channel
        // below 0 (in most pictures, all of them): no division needed.
        cv::v_uint16x8 hi0, hi1, spread0, spread1;
        cv::v_expand(hi, hi0, hi1);
        cv::v_expand(spread, spread0, spread1);
        const cv::v_uint16x8 keep0 = cv::v_mul_wrap(spread0, vSteps) <= (hi0 << 7);
        const cv::v_uint16x8 keep1 = cv::v_mul_wrap(spread1, vSteps) <= (hi1 << 7);
        cv::v_uint16x8 steps0 = vSteps, steps1 = vSteps;
        if (!cv::v_check_all(keep0 & keep1)) {
            cv::v_float32x4 fHi[4], fSpread[4];
            toFloats(hi, fHi);
            toFloats(spread, fSpread);
            cv::v_int32x4 capped[4];
            for (int i = 0; i < 4; ++i)
                capped[i] = cv::v_round(fHi[i] / cv::v_max(fSpread[i], one) * stepsPerUnit);
            steps0 = cv::v_select(keep0, vSteps, cv::v_pack_u(capped[0], capped[1]));
            steps1 = cv::v_select(keep1, vSteps, cv::v_pack_u(capped[2], capped[3]));
        }
        // Byte subtraction saturates at 0, where a rounded factor would take
        // the smallest channel just below it.
        r = hi - scaledDistance(hi - r, steps0, steps1);
        g = hi - scaledDistance(hi - g, steps0, steps1);
        b = hi - scaledDistance(hi - b, steps0, steps1);
        cv::v_store_interleave(p, r, g, b);
    }
#endif
    for (; x < n; ++x)
        scaleSaturationPixel(rgb + 3 * x, steps);
}

void lookUpRow(uchar* values, size_t n, const uchar table[256])
{
    uchar t[256]; // local: stores through values cannot alias it
    std::copy(table, table + 256, t);
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const uchar a = t[values[i]], b = t[values[i + 1]], c = t[values[i + 2]], d = t[values[i + 3]];
        values[i] = a;
        values[i + 1] = b;
        values[i + 2] = c;
        values[i + 3] = d;
    }
    for (; i < n; ++i)
        values[i] = t[values[i]];
}

void addDifferenceRow(uchar* row, int n, int channels, const uchar* plusPlane, uchar plusValue,
                      const uchar* minus)
{
    int x = 0;
#if CV_SIMD128
    const cv::v_uint8x16 vPlusValue = cv::v_setall_u8(plusValue);
    // The signed difference as its two non-negative parts (one of them is 0
    // in every lane); byte arithmetic saturates, so adding one and taking
    // away the other clamps exactly like the signed sum would.
    for (; x + 16 <= n; x += 16) {
        const cv::v_uint8x16 plus = plusPlane ? cv::v_load(plusPlane + x) : vPlusValue;
        const cv::v_uint8x16 m = cv::v_load(minus + x);
        const cv::v_uint8x16 raise = plus - m;
        const cv::v_uint8x16 lower = m - plus;
        if (channels == 3) {
            uchar* p = row + 3 * x;
            cv::v_uint8x16 r, g, b;
            cv::v_load_deinterleave(p, r, g, b);
            cv::v_store_interleave(p, (r + raise) - lower, (g + raise) - lower, (b + raise) - lower);
        } else {
            cv::v_store(row + x, (cv::v_load(row + x) + raise) - lower);
        }
    }
#endif
    for (; x < n; ++x) {
        const int d = (plusPlane ? plusPlane[x] : plusValue) - minus[x];
        for (int c = 0; c < channels; ++c)
            row[channels * x + c] = clampToByte(row[channels * x + c] + d);
    }
}

void unsharpRow(uchar* values, const uchar* blurred, int n, int amount)
{
    int i = 0;
#if CV_SIMD128
    const cv::v_int16x8 keep = cv::v_setall_s16(static_cast<short>(1 + amount));
    const cv::v_int16x8 take = cv::v_setall_s16(static_cast<short>(amount));
    for (; i + 16 <= n; i += 16) {
        cv::v_uint16x8 v0, v1, b0, b1;
        cv::v_expand(cv::v_load(values + i), v0, v1);
        cv::v_expand(cv::v_load(blurred + i), b0, b1);
        // At most 3 * 255 and at least -2 * 255: no 16-bit overflow, so the
        // plain multiplication is exact.
        const cv::v_int16x8 s0 = cv::v_mul_wrap(cv::v_reinterpret_as_s16(v0), keep)
            - cv::v_mul_wrap(cv::v_reinterpret_as_s16(b0), take);
        const cv::v_int16x8 s1 = cv::v_mul_wrap(cv::v_reinterpret_as_s16(v1), keep)
            - cv::v_mul_wrap(cv::v_reinterpret_as_s16(b1), take);
        cv::v_store(values + i, cv::v_pack_u(s0, s1));
    }
#endif
    for (; i < n; ++i)
        values[i] = clampToByte((1 + amount) * values[i] - amount * blurred[i]);
}

void paintRow(uchar* row, int n, int channels, const uchar* gray, const PaintRule& rule)
{
    int x = 0;
#if CV_SIMD128
    const cv::v_uint8x16 none = cv::v_setzero_u8();
    const cv::v_uint8x16 rangeLow = cv::v_setall_u8(rule.rangeLow);
    const cv::v_uint8x16 rangeHigh = cv::v_setall_u8(rule.rangeHigh);
    const cv::v_uint8x16 rangePaint = cv::v_setall_u8(rule.rangePaint);
    const cv::v_uint8x16 poleLevel = cv::v_setall_u8(rule.poleLevel);
    const cv::v_uint8x16 polePaint = cv::v_setall_u8(rule.polePaint);
    for (; x + 16 <= n; x += 16) {
        const cv::v_uint8x16 level = cv::v_load(gray + x);
        const cv::v_uint8x16 inRange = rule.range ? ((level >= rangeLow) & (level <= rangeHigh)) : none;
        const cv::v_uint8x16 after = cv::v_select(inRange, rangePaint, level);
        const cv::v_uint8x16 pastPole
            = rule.pole ? (rule.poleBelow ? (after < poleLevel) : (after > poleLevel)) : none;
        const cv::v_uint8x16 painted = inRange | pastPole;
        const cv::v_uint8x16 paint = cv::v_select(pastPole, polePaint, rangePaint);
        if (channels == 3) {
            uchar* p = row + 3 * x;
            cv::v_uint8x16 r, g, b;
            cv::v_load_deinterleave(p, r, g, b);
            cv::v_store_interleave(p, cv::v_select(painted, paint, r), cv::v_select(painted, paint, g),
                                   cv::v_select(painted, paint, b));
        } else {
            cv::v_store(row + x, cv::v_select(painted, paint, cv::v_load(row + x)));
        }
    }
#endif
    for (; x < n; ++x) {
        uchar paint = 0;
        if (paintPixel(gray[x], rule, paint))
            for (int c = 0; c < channels; ++c)
                row[channels * x + c] = paint;
    }
}

} // namespace hostsim::kernels
