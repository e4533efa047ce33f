#include "common/Variant.h"
#include "host/HostContext.h"
#include "support/Companions.h"

#include <gtest/gtest.h>

#include <locale.h>

#include <cmath>
#include <limits>

namespace
{

/// A value on loan: V(INT64, int64, 5).
#define V(kind, member, ...)                                                                                           \
    PYXVariant                                                                                                         \
    {                                                                                                                  \
        .type = PYX_VARIANT_##kind, .member##Value = __VA_ARGS__                                                       \
    }

PYXVariant Zero(pyx_uint32 type)
{
    return {static_cast<PYXVariantType>(type), {}};
}
PYXVariant S(const char* text)
{
    return V(STRING, string, const_cast<char*>(text));
}

/// What a conversion leaves: "text", "4 text" with a result, "-" when empty.
std::string Convert(const PYXVariant& from, PYXVariantType to)
{
    PYXVariantOwner result;
    const PYX_RESULT code = PYXVariantChangeType(result.Out(), &from, to);
    const bool isKind = result.Get().type == to || result.Get().type == PYX_VARIANT_EMPTY;
    return (code ? std::to_string(code) + ' ' : "") + (isKind ? Text(result.Get()) : "another kind");
}

TEST(VariantTest, ParsesTexts)
{
    const std::pair<PYXVariantType, const char*> rows[] = {
        {PYX_VARIANT_BOOL, "true=true;True=true;TRUE=true;1=true;false=false;0=false;yes=4 false;=4 false"},
        {PYX_VARIANT_INT64, "0x1F=31;0xA=10;0X1F=0;0x=0;-9223372036854775808=-9223372036854775808;=4 0; =0;z=4 0"},
        {PYX_VARIANT_DOUBLE,
         "2.5z=2.5;\t+.5=0.5;0x1.8p1=3;-1e999=-inf;1e-999=0;1e-99999999999999999999=0;0x1ep-2000=0;"
         "0x1ep+2000=inf;000e999=0;"
         "inf=inf;-Infinity=-inf; =0;z=4 0;--1=4 0;0x1p+-1=1;0xnan=4 0;+0xinf=4 0;infinit=4 0;infx=inf;infinityi=inf"},
        {PYX_VARIANT_FLOAT, "-2.5=-2.5;1e39=inf;-inf=-inf;=4 0"},
        {PYX_VARIANT_SIZE, "640x480=640,480;640,480=640,480;640=4 0,0"},
        {PYX_VARIANT_POINT, "640x480=640,0;z=4 0,0"},
        {PYX_VARIANT_RECT, "1,-2,3=1,-2,3,0;1,2,3,4=1,2,3,4"},
        {PYX_VARIANT_RATE, "30000,1001=30000,1001;=4 0,0"},
        {PYX_VARIANT_RATIO, "16,9=16,9"},
        {PYX_VARIANT_COLOR, "300,20,10,128=44,20,10,128;red=4 0,0,0,255"}};
    for (const auto& [type, pairs] : rows)
    {
        for (const std::string& pair : Split(pairs, ';'))
        {
            const std::string text = pair.substr(0, pair.find('='));
            const std::string expected = pair.substr(pair.find('=') + 1);
            EXPECT_EQ(Convert(S(text.c_str()), type), expected) << pair;
            EXPECT_EQ(Convert(PYXVariantBorrowWString(std::wstring(text.begin(), text.end()).c_str()), type), expected);
        }
    }
}

TEST(VariantTest, ConvertsExactly)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const char* const utf8 = "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    const auto text = PYX_VARIANT_STRING;
    const auto wide = PYX_VARIANT_WSTRING;
    EXPECT_EQ(Convert(PYXVariantBorrowWString(L"\x00E4\x20AC\xD83D\xDE00"), text), utf8);
    EXPECT_EQ(Convert(S(utf8), wide), utf8);
    EXPECT_EQ(Convert(S(""), wide), "-"); // succeeds and leaves nothing
    EXPECT_EQ(Convert(V(DOUBLE, double, 2.5), PYX_VARIANT_INT64), "2");
    EXPECT_EQ(Convert(V(FLOAT, float, -2.5F), PYX_VARIANT_INT64), "-2");
    EXPECT_EQ(Convert(V(DOUBLE, double, nan), PYX_VARIANT_BOOL), "true");
    EXPECT_EQ(Convert(V(DOUBLE, double, -0.0), PYX_VARIANT_BOOL), "false");
    EXPECT_EQ(Convert(V(DOUBLE, double, 30.0), text), "30.000000");
    EXPECT_EQ(Convert(V(FLOAT, float, 0.5F), wide), "0.500000");
    EXPECT_EQ(Convert(V(BOOL, bool, true), wide), "true");
    EXPECT_EQ(Convert(V(COLOR, color, {1, 2, 3, 255}), wide), "1,2,3,255");
    EXPECT_EQ(Convert(V(RECT, rect, {1, -2, 3, 4}), text), "1,-2,3,4");
    EXPECT_EQ(Convert(PYXVariant{}, text), "");
    EXPECT_EQ(Convert(PYXVariant{}, PYX_VARIANT_DOUBLE), "0");
    EXPECT_EQ(Convert(PYXVariant{}, PYX_VARIANT_FLOAT), "0");
    EXPECT_EQ(Convert(PYXVariant{}, PYX_VARIANT_INT64), "0");
    EXPECT_EQ(Convert(V(INT64, int64, 1LL << 40), PYX_VARIANT_BOOL), "true");
    EXPECT_EQ(Convert(V(INT64, int64, 0), PYX_VARIANT_BOOL), "false");
    EXPECT_EQ(Convert(V(BOOL, bool, 1), PYX_VARIANT_DOUBLE), "1");
    EXPECT_EQ(PYXVariantFromBool(true).boolValue, 1); // hosts of other compilers read the byte
}

/// A host that uses the same C runtime and speaks German.
TEST(VariantTest, TextsOfRealNumbersReadBackAllTheSame)
{
    setlocale(LC_ALL, "German");
    constexpr double inf = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const std::tuple<double, const char*, const char*> rows[] = {{-30.25, "-30.250000", "-30.25"},
                                                                 {1e23, "99999999999999991611392.000000", "1e+23"},
                                                                 {0.0000005, "0.000000", "0"},
                                                                 {inf, "inf", "inf"},
                                                                 {-inf, "-inf", "-inf"},
                                                                 {nan, "nan", "nan"},
                                                                 {-nan, "nan", "nan"}};
    EXPECT_STREQ(localeconv()->decimal_point, ",");
    for (const auto& [value, text, back] : rows)
    {
        EXPECT_EQ(Convert(V(DOUBLE, double, value), PYX_VARIANT_STRING), text);
        EXPECT_EQ(Convert(V(DOUBLE, double, value), PYX_VARIANT_WSTRING), text);
        EXPECT_EQ(Convert(S(text), PYX_VARIANT_DOUBLE), back);
        EXPECT_EQ(Convert(S(text), PYX_VARIANT_FLOAT), back);
    }
    setlocale(LC_ALL, "C");
}

TEST(VariantTest, SupportsThesePairsOfKindsOnly)
{
    const auto expected = Split("111100000011010000 011100000011010000 011100000011010000 011100000011000000 "
                                "000010000011000000 000001000011000000 000000100011000000 000000010011000000 "
                                "000000001011000000 000000000111000000 011111111111010000 011111111111010000 "
                                "000000000000100000 011000000011010000 000000000000001000 000000000000000100 "
                                "000000000000000010 000000000000000001",
                                ' ');
    for (pyx_uint32 from = 0; from <= 17; ++from)
    {
        const PYXVariant source = from == PYX_VARIANT_STRING    ? S("1")
                                  : from == PYX_VARIANT_WSTRING ? PYXVariantBorrowWString(L"1")
                                                                : Zero(from);
        std::string row;
        for (pyx_uint32 to = 0; to <= 17; ++to)
        {
            row += Convert(source, static_cast<PYXVariantType>(to)) == "4 -" ? '0' : '1';
        }
        EXPECT_EQ(row, expected[from]) << "from kind " << from;
    }
}

TEST(VariantTest, ComparesKindThenValue)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto compare = [](const PYXVariant& first, const PYXVariant& second) {
        bool equal = false;
        const PYX_RESULT result = PYXVariantCompare(&first, &second, &equal);
        return result == PYX_OK ? (equal ? "equal" : "different") : "error";
    };
    constexpr size_t sizes[] = {0, 1, 8, 8, 16, 8, 8, 8, 8, 4, 8, 8, 8, 4, 8, 8, 12, 16}; // bytes that count, by kind
    for (pyx_uint32 kind = 1; kind <= 17; ++kind)
    {
        PYXVariant other = Zero(kind);
        auto* const pBytes = reinterpret_cast<char*>(other.raw);
        std::fill(pBytes + sizes[kind], pBytes + 16, '\1');
        EXPECT_STREQ(compare(Zero(kind), other), "equal") << kind;
        pBytes[sizes[kind] - 1] = 1;
        EXPECT_STREQ(compare(Zero(kind), other), "different") << kind;
    }
    EXPECT_STREQ(compare(PYXVariant{}, PYXVariant{.raw = {1, 1}}), "equal"); // both empty
    const PYXVariant point = V(FLOAT_POINT3D, float, nan);
    EXPECT_STREQ(compare(point, point), "equal"); // the same object
    EXPECT_STREQ(compare(point, PYXVariant{point}), "different");
    EXPECT_STREQ(compare(V(DOUBLE, double, 0.0), V(DOUBLE, double, -0.0)), "equal");
    EXPECT_STREQ(compare(V(INT64, int64, 1), V(DOUBLE, double, 1)), "different");
    EXPECT_STREQ(compare(S("a"), S("A")), "different");
    EXPECT_STREQ(compare(Zero(18), Zero(18)), "error");
}

TEST(VariantTest, OwnsTextsAndCountsInterfaces)
{
    const auto spContext = HostContext::Create();
    const PYXVariant lent = PYXVariantBorrowInterface(spContext.Get());
    PYXVariantOwner copy;
    EXPECT_EQ(PYXVariantCopy(copy.Out(), &lent), PYX_OK);
    EXPECT_EQ(spContext->Acquire(), 3u);
    EXPECT_EQ(spContext->Release(), 2u);
    EXPECT_EQ(PYXVariantChangeType(copy.InOut(), nullptr, PYX_VARIANT_BOOL), PYX_INVALID_ARG);
    EXPECT_EQ(spContext->Acquire(), 2u); // a conversion in place gives the old payload back
    EXPECT_EQ(spContext->Release(), 1u);

    const PYXVariant noText = S(nullptr);
    EXPECT_EQ(PYXVariantCopy(copy.Out(), &noText), PYX_INVALID_POINTER);
    const PYXVariant unknown = Zero(18);
    EXPECT_EQ(PYXVariantCopy(copy.Out(), &unknown), PYX_INVALID_ARG);
    EXPECT_EQ(PYXVariantCopy(nullptr, &lent), PYX_INVALID_POINTER);
    EXPECT_EQ(PYXVariantCopy(copy.Out(), nullptr), PYX_INVALID_POINTER);
    const PYXVariant other = S("32");
    EXPECT_EQ(PYXVariantAssignString(copy.Out(), "31"), PYX_OK);
    const PYXVariant same = copy.Get();
    EXPECT_EQ(PYXVariantChangeType(copy.InOut(), &same, PYX_VARIANT_STRING), PYX_OK);
    EXPECT_EQ(copy.Get().stringValue, same.stringValue); // a new copy would leak the old one
    PYXVariant borrower = other;
    EXPECT_EQ(PYXVariantChangeType(&borrower, &same, PYX_VARIANT_STRING), PYX_OK);
    EXPECT_STREQ(borrower.stringValue, "31");
    PYXVariantClear(&borrower);
    EXPECT_EQ(PYXVariantChangeType(copy.InOut(), nullptr, PYX_VARIANT_INT64), PYX_OK);
    EXPECT_EQ(Text(copy.Get()), "31");
}

} // namespace
