#include "common/PropertyStorageExImpl.h"
#include "support/Companions.h"
#include "support/RingBufferTest.h"

#include <gtest/gtest.h>

#include <future>

namespace
{

constexpr PYXEnumDescriptionEntry c_colors[] = {{7, L"Red"}, {9, L"Green"}, {0, nullptr}};
constexpr PYXVariant c_null = PYXVariantBorrowInterface(nullptr); // converts to nothing
constexpr PYXVariant c_none{};

constexpr auto Number = PYXVariantFromInt64;
constexpr auto Words = PYXVariantBorrowWString;

PYXVariant Chars(const std::string& text)
{
    return {.type = PYX_VARIANT_STRING, .stringValue = const_cast<char*>(text.c_str())};
}
/// "1.5,nan" as a value of a kind of floats.
PYXVariant Floats(PYXVariantType type, const std::string& text)
{
    return {.type = type, .floatValues = {std::stof(text), std::stof(text.substr(text.find(',') + 1))}};
}

class Storage final : public PYXRefCounted<PYXPropertyStorageExImpl<PYXInput>>
{
public:
    PYX_RESULT SubmitInput(PYXData*) override
    {
        return PYX_OK;
    }
    void OnPropertyChanged(const wchar_t* name) override
    {
        log += "hook " + Narrow(name) + ' ';
    }
    using PYXPropertyStorageExImpl::DeclareProperty;
    std::string log;
};

/// Names itself in the storage's log and calls back from the notification.
struct Observer final : PYXPropertyStorageObserver
{
    Observer(Storage& owner, const char* title) : storage(owner), self(title)
    {
        storage.AddObserver(this);
    }

    void OnPropertyChanged(const wchar_t* name) override
    {
        storage.log += self + ' ' + Narrow(name) + ' ';
        storage.SetProperty(L"Text", PYXVariantBorrowWString(L"seen"));
    }

    Storage& storage;
    std::string self;
};

class PropertyStorageExImplTest : public testing::Test
{
protected:
    PropertyStorageExImplTest()
    {
        Companions::Get() = {};
        m_storage.DeclareProperty({L"Duration", L"", PYX_VARIANT_INT64, Number(30), Number(1), Number(2147483647), 3});
        m_storage.DeclareProperty({L"Color", L"", PYX_VARIANT_INT64, Number(9), c_none, c_none, 3, 0, c_colors});
        m_storage.DeclareProperty({L"Text", L"", PYX_VARIANT_WSTRING, Words(L"x"), c_none, c_none, 3});
        m_storage.DeclareProperty({L"Fixed", L"", PYX_VARIANT_BOOL, c_none, c_none, c_none, 1});
        m_storage.DeclareProperty({L"Hidden", L"", PYX_VARIANT_BOOL, c_none, c_none, c_none, 2});
        m_storage.DeclareProperty({L"Owner", L"", PYX_VARIANT_INTERFACE, c_null, c_null, c_null, 3});
    }

    std::string Get(const wchar_t* name)
    {
        return ::Get(&m_storage, name);
    }
    Storage m_storage;
};

TEST_F(PropertyStorageExImplTest, ConvertsChecksAndStores)
{
    const struct
    {
        const wchar_t* name;
        PYXVariant value;
        PYX_RESULT result;
        const char* stored;
    } rows[] = {{L"Duration", Words(L"45"), PYX_OK, "45"},
                {L"Duration", Number(0), PYX_OUT_OF_RANGE, "45"},
                {L"Duration", Words(L"no"), PYX_INVALID_ARG, "45"},
                {L"Color", Words(L"Red"), PYX_OK, "7"},
                {L"Color", Words(L"green"), PYX_INVALID_ARG, "7"},
                {L"Color", Number(8), PYX_INVALID_ARG, "7"},
                {L"Color", Words(L"9"), PYX_OK, "9"},
                {L"Fixed", PYXVariantFromBool(true), PYX_ACCESS_DENIED, "false"},
                {L"Hidden", PYXVariantFromBool(true), PYX_OK, "error 3"},
                {L"Text", Words(L"a text"), PYX_OK, "a text"},
                {L"Owner", Words(L"none"), PYX_OK, "null"},
                {L"duration", Number(5), PYX_NOT_FOUND, "error 11"}};
    for (const auto& row : rows)
    {
        EXPECT_EQ(m_storage.SetProperty(row.name, row.value), row.result) << "row " << &row - rows;
        EXPECT_EQ(Get(row.name), row.stored) << "row " << &row - rows;
        PYXVariantOwner value; // a host may validate a value into itself
        EXPECT_EQ(PYXVariantCopy(value.Out(), &row.value), PYX_OK);
        const PYX_RESULT validated = m_storage.ValidateProperty(row.name, value.Get(), value.InOut());
        EXPECT_EQ(validated == PYX_OK, row.result == PYX_OK || row.result == PYX_ACCESS_DENIED)
            << "row " << &row - rows;
        EXPECT_TRUE(row.result != PYX_OK || row.stored[0] == 'e' || Text(value.Get()) == row.stored);
    }
}

TEST_F(PropertyStorageExImplTest, NullsAndIndicesAreTracedWithTheirLine)
{
    const auto null = [](int line, const std::string& name) {
        return "7\nE PropertyStorageExImpl:" + std::to_string(line) + " Assertion failed:invalid pointer : " + name;
    };
    PYXVariant value;
    wchar_t name[4];
    const PYXPropertyInfo* pInfo = nullptr;
    EXPECT_EQ(Outcome(m_storage.SetProperty(nullptr, {})), null(168, "name"));
    EXPECT_EQ(Outcome(m_storage.GetProperty(nullptr, nullptr)), null(186, "name"));
    EXPECT_EQ(Outcome(m_storage.GetProperty(L"Text", nullptr)), null(187, "pValue"));
    EXPECT_EQ(Outcome(m_storage.GetPropertyAt(9, nullptr, 0, nullptr)), null(217, "name"));
    EXPECT_EQ(Outcome(m_storage.GetPropertyAt(9, name, 0, nullptr)), null(218, "pValue"));
    EXPECT_EQ(Outcome(m_storage.GetPropertyAt(9, name, 0, &value)),
              "4\nE PropertyStorageExImpl:219 Assertion failed:nameSize != 0");
    EXPECT_EQ(Outcome(m_storage.GetPropertyAt(6, name, 4, &value)),
              "4\nE PropertyStorageExImpl:220 Assertion failed:index < m_PropertiesInfo.size()");
    EXPECT_EQ(Outcome(m_storage.GetPropertyInfo(pyx_size{9}, nullptr)), null(243, "ppParamInfo"));
    EXPECT_EQ(Outcome(m_storage.GetPropertyInfo(pyx_size{6}, &pInfo)),
              "4\nE PropertyStorageExImpl:244 Assertion failed:szInd < m_PropertiesInfo.size()");
    EXPECT_EQ(Outcome(m_storage.GetPropertyInfo(nullptr, nullptr)), null(258, "name"));
    EXPECT_EQ(Outcome(m_storage.GetPropertyInfo(L"Text", nullptr)), null(259, "ppParamInfo"));
    EXPECT_EQ(Outcome(m_storage.ValidateProperty(nullptr, {}, nullptr)), null(273, "name"));
    EXPECT_EQ(Outcome(m_storage.ValidateProperty(L"None", {}, nullptr)), null(274, "pOutValidated"));
    EXPECT_EQ(Outcome(m_storage.ValidateProperty(L"None", {}, &value)),
              "11\nE PropertyStorageExImpl:279 PYX_ERROR 11 : code 11: Property=None");
    EXPECT_EQ(Outcome(m_storage.AddTo(nullptr, true, true)), null(130, "pDest"));
    EXPECT_EQ(Outcome(m_storage.CopyTo(nullptr, true)), null(155, "pDest"));
    EXPECT_EQ(Outcome(CastVariantToPYXProperty(nullptr, &value, PYX_VARIANT_BOOL, 0, nullptr)), null(59, "pDest"));
}

TEST_F(PropertyStorageExImplTest, NotifiesHookThenObserversAndOnlyOfChanges)
{
    Observer first(m_storage, "first");
    Observer second(m_storage, "second");
    m_storage.AddObserver(&first); // once is enough
    EXPECT_EQ(m_storage.SetProperty(L"Text", Words(L"seen")), PYX_OK);
    EXPECT_EQ(m_storage.log, "hook Text first Text second Text ");
    m_storage.RemoveObserver(&first);
    EXPECT_EQ(m_storage.SetProperty(L"Text", Words(L"seen")), PYX_OK);
    EXPECT_EQ(m_storage.SetProperty(L"Duration", Number(0)), PYX_OUT_OF_RANGE);
    EXPECT_EQ(m_storage.Clear(), PYX_OK);
    EXPECT_EQ(m_storage.log, "hook Text first Text second Text ");
    EXPECT_EQ(Get(L"Text"), "x");
}

TEST_F(PropertyStorageExImplTest, CopiesWhatTheDestinationKnows)
{
    Storage dest;
    dest.DeclareProperty({L"Color", L"", PYX_VARIANT_RECT, c_none, c_none, c_none, 3}); // skipped: not convertible
    dest.DeclareProperty({L"Duration", L"", PYX_VARIANT_DOUBLE, Number(5), Number(-9), Number(99), 3});
    dest.SetProperty(L"Duration", Number(50));
    dest.DeclareProperty({L"Other", L"", PYX_VARIANT_INT64, Number(1), Number(0), Number(9), 3});
    dest.SetProperty(L"Other", Number(2));
    EXPECT_EQ(m_storage.AddTo(&dest, false, true), PYX_NOT_FOUND);
    EXPECT_EQ(::Get(&dest, L"Duration"), "50");
    EXPECT_TRUE(Outcome(m_storage.CopyTo(&dest, true))
                    .ends_with("\nE PropertyStorageExImpl:145 PYX_ERROR 11 : code 11: AddTo() - failed to copy "
                               "property=Fixed"));
    EXPECT_EQ(::Get(&dest, L"Duration"), "30");
    EXPECT_EQ(::Get(&dest, L"Other"), "1"); // a copy begins with the defaults
    EXPECT_EQ(m_storage.CopyTo(&m_storage, true), PYX_OK);
    EXPECT_EQ(dest.log, "hook Duration hook Other hook Duration ");
}

TEST_F(PropertyStorageExImplTest, RefusesWhatIsOutsideEitherBound)
{
    const std::tuple<PYXVariantType, const char*, const char*> rows[] = {
        // the bounds, what is inside; what is not
        {PYX_VARIANT_INT64, "-5 5", "-6 6"},
        {PYX_VARIANT_DOUBLE, "-0.5 1.5 nan", "-0.6 1.6 inf -inf"},
        {PYX_VARIANT_FLOAT, "-0.5 1.5 nan", "-0.6 1.6 inf -inf"},
        {PYX_VARIANT_SIZE, "2,3 8,9", "1,3 2,2 9,9 8,10"},
        {PYX_VARIANT_RATE, "2,3 8,9", "1,3 2,2 9,9 8,10 4294967295,5"},
        {PYX_VARIANT_POINT, "2,3 8,9 0,0 99,99", ""}, // no order, no range
        {PYX_VARIANT_FLOAT_SIZE, "2,3 8,9 nan,9 8,nan", "1.5,3 2,2.5 8.5,9 8,9.5 nan,9.5"},
    };
    for (const auto& [type, inside, outside] : rows)
    {
        Storage storage;
        const auto texts = Split(inside, ' ');
        const auto value = [kind = type](const std::string& text) { // no text converts to a float size
            return kind != PYX_VARIANT_FLOAT_SIZE ? Chars(text) : Floats(kind, text);
        };
        storage.DeclareProperty({L"P", L"", type, value(texts[0]), value(texts[0]), value(texts[1]), 3});
        for (const std::string& text : texts)
        {
            EXPECT_EQ(storage.SetProperty(L"P", value(text)), PYX_OK) << type << ' ' << text;
        }
        for (const std::string& text : Split(outside, ' '))
        {
            EXPECT_EQ(storage.SetProperty(L"P", value(text)), PYX_OUT_OF_RANGE) << type << ' ' << text;
        }
    }
}

TEST_F(PropertyStorageExImplTest, AnInterfaceThatIsGivenUpEndsWithoutTheLock)
{
    std::string seen;
    const auto set = [&] {
        const PYXInterfacePtr<PYXInterface> spValue(new AtEnd([&] { // from another thread too
            const auto look = [this] { return Get(L"Owner"); };
            seen += look() + ' ' + std::async(std::launch::async, look).get() + ' ';
        }));
        EXPECT_EQ(m_storage.SetProperty(L"Owner", PYXVariantBorrowInterface(spValue.Get())), PYX_OK);
        EXPECT_EQ(spValue->Acquire(), 3u); // the storage holds one
        spValue->Release();
    };
    set();
    EXPECT_EQ(Get(L"Owner"), "object");
    set();
    EXPECT_EQ(seen, "object object "); // the first has been replaced by the second
    EXPECT_EQ(m_storage.Clear(), PYX_OK);
    EXPECT_EQ(seen, "object object null null ");
    set();
    EXPECT_EQ(m_storage.SetProperty(L"Owner", Number(5)), PYX_OK); // anything else is no interface
    EXPECT_EQ(seen, "object object null null null null ");
}

TEST_F(PropertyStorageExImplTest, FallbacksReplaceWhatDoesNotConvert)
{
    const std::string pair = "0,0 -2147483648,-2147483648 2147483647,2147483647;";
    const std::string floats = "0,0 1.17549e-38,1.17549e-38 3.40282e+38,3.40282e+38;";
    const auto expected =
        Split(";false - -;0 -2147483648 2147483647;0 2.22507e-308 1.79769e+308;0,0,0,0 - -;" + pair + pair +
                  "0,0 0,1 2147483647,2147483647;0,0 - -;0,0,0,255 - -;- - ;- - ;null - -;0 1.17549e-38 3.40282e+38;" +
                  floats + floats +
                  "0,0,0 1.17549e-38,1.17549e-38,1.17549e-38 3.40282e+38,3.40282e+38,3.40282e+38;0,0,0,0 "
                  "1.17549e-38,1.17549e-38,1.17549e-38,1.17549e-38 3.40282e+38,3.40282e+38,3.40282e+38,3.40282e+38",
              ';');
    for (pyx_uint32 type = 1; type <= 17; ++type)
    {
        const PYXPropertyInfoImpl info({L"P", L"", static_cast<PYXVariantType>(type), c_null, c_null, c_null, 3});
        EXPECT_EQ(Text(info.defaultValue) + ' ' + Text(info.minValue) + ' ' + Text(info.maxValue), expected[type]);
    }
    const PYXPropertyInfoImpl listed({L"P", L"", PYX_VARIANT_INT64, Number(8), {}, {}, 3, 0, c_colors});
    EXPECT_EQ(Text(listed.defaultValue) + Text(listed.value.Get()), "77");
    const PYXVariant point = Floats(PYX_VARIANT_FLOAT_POINT2D, "1,2");
    const PYXPropertyInfoImpl ignored({L"P", L"", PYX_VARIANT_FLOAT_POINT2D, point, point, point, 3});
    EXPECT_EQ(Text(ignored.defaultValue) + ' ' + Text(ignored.minValue), "0,0 1,2");
}

} // namespace
