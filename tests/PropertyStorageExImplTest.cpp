#include "common/PropertyStorageExImpl.h"

#include "support/Companions.h"
#include "support/RingBufferTest.h"

#include <gtest/gtest.h>

namespace
{

constexpr PYXEnumDescriptionEntry c_colors[] = {{7, L"Red"}, {9, L"Green"}, {0, nullptr}};
constexpr PYXVariant c_null = PYXVariantBorrowInterface(nullptr); // converts to nothing
constexpr PYXVariant c_none{};

constexpr PYXVariant Number(pyx_int64 value) { return PYXVariantFromInt64(value); }
constexpr PYXVariant Words(const wchar_t* text) { return PYXVariantBorrowWString(text); }

class Storage final : public PYXPropertyStorageExImpl<PYXPropertyStorageEx>
{
public:
    pyx_uint32 Acquire() override { return 1; }
    pyx_uint32 Release() override { return 1; }
    void OnPropertyChanged(const wchar_t* name) override { log += "hook " + Narrow(name) + ' '; }
    using PYXPropertyStorageExImpl::DeclareProperty;
    std::string log;
};

/// Names itself in the storage's log and calls back while it is told.
struct Observer final : PYXPropertyStorageObserver
{
    Observer(Storage& owner, const char* title) : storage(owner), self(title) { storage.AddObserver(this); }

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
    }

    std::string Get(const wchar_t* name) { return ::Get(&m_storage, name); }
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
                {L"Duration", Number(1), PYX_OK, "1"},
                {L"Duration", Number(0), PYX_OUT_OF_RANGE, "1"},
                {L"Duration", Number(2147483647), PYX_OK, "2147483647"},
                {L"Duration", Number(2147483648), PYX_OUT_OF_RANGE, "2147483647"},
                {L"Duration", Words(L"no"), PYX_INVALID_ARG, "2147483647"},
                {L"Color", Words(L"Red"), PYX_OK, "7"},
                {L"Color", Words(L"green"), PYX_INVALID_ARG, "7"},
                {L"Color", Number(8), PYX_INVALID_ARG, "7"},
                {L"Color", Words(L"9"), PYX_OK, "9"},
                {L"Fixed", PYXVariantFromBool(true), PYX_ACCESS_DENIED, "false"},
                {L"Hidden", PYXVariantFromBool(true), PYX_OK, "error 3"},
                {L"duration", Number(5), PYX_NOT_FOUND, "error 11"}};
    for (const auto& row : rows)
    {
        EXPECT_EQ(m_storage.SetProperty(row.name, row.value), row.result) << "row " << &row - rows;
        EXPECT_EQ(Get(row.name), row.stored) << "row " << &row - rows;
    }
    Companions::Get() = {};
    EXPECT_EQ(Outcome(m_storage.SetProperty(L"Color", Number(8))),
              "4\nE PropertyStorageExImpl:280 PYX_ERROR 4 : code 4: Property=Color");
}

TEST_F(PropertyStorageExImplTest, NullsAndIndicesAreTracedWithTheirLine)
{
    const auto at = [](PYX_RESULT result) {
        const std::string outcome = Outcome(result);
        const size_t line = outcome.find('\n');
        return outcome.substr(0, line) + " at " + outcome.substr(outcome.find(':') + 1);
    };
    const std::string null = " Assertion failed:invalid pointer : ";
    PYXVariant value;
    wchar_t name[4];
    const PYXPropertyInfo* pInfo = nullptr;
    EXPECT_EQ(at(m_storage.SetProperty(nullptr, {})), "7 at 168" + null + "name");
    EXPECT_EQ(at(m_storage.GetProperty(nullptr, nullptr)), "7 at 186" + null + "name");
    EXPECT_EQ(at(m_storage.GetProperty(L"Text", nullptr)), "7 at 187" + null + "pValue");
    EXPECT_EQ(at(m_storage.GetPropertyAt(9, nullptr, 0, nullptr)), "7 at 217" + null + "name");
    EXPECT_EQ(at(m_storage.GetPropertyAt(9, name, 0, nullptr)), "7 at 218" + null + "pValue");
    EXPECT_EQ(at(m_storage.GetPropertyAt(9, name, 0, &value)), "4 at 219 Assertion failed:nameSize != 0");
    EXPECT_EQ(at(m_storage.GetPropertyAt(5, name, 4, &value)),
              "4 at 220 Assertion failed:index < m_PropertiesInfo.size()");
    EXPECT_EQ(at(m_storage.GetPropertyInfo(pyx_size{9}, nullptr)), "7 at 243" + null + "ppParamInfo");
    EXPECT_EQ(at(m_storage.GetPropertyInfo(pyx_size{5}, &pInfo)),
              "4 at 244 Assertion failed:szInd < m_PropertiesInfo.size()");
    EXPECT_EQ(at(m_storage.GetPropertyInfo(nullptr, nullptr)), "7 at 258" + null + "name");
    EXPECT_EQ(at(m_storage.GetPropertyInfo(L"Text", nullptr)), "7 at 259" + null + "ppParamInfo");
    EXPECT_EQ(at(m_storage.ValidateProperty(nullptr, {}, nullptr)), "7 at 273" + null + "name");
    EXPECT_EQ(at(m_storage.ValidateProperty(L"None", {}, nullptr)), "7 at 274" + null + "pOutValidated");
    EXPECT_EQ(at(m_storage.ValidateProperty(L"None", {}, &value)), "11 at 279 PYX_ERROR 11 : code 11: Property=None");
    EXPECT_EQ(at(m_storage.AddTo(nullptr, true, true)), "7 at 130" + null + "pDest");
    EXPECT_EQ(at(m_storage.CopyTo(nullptr, true)), "7 at 155" + null + "pDest");
    EXPECT_EQ(at(CastVariantToPYXProperty(nullptr, &value, PYX_VARIANT_BOOL, 0, nullptr)), "7 at 59" + null + "pDest");
}

TEST_F(PropertyStorageExImplTest, EnumeratesInNameOrderAndCutsLongNames)
{
    std::string names;
    for (pyx_size i = 0; i < m_storage.GetPropertiesInfoCount(); ++i)
    {
        wchar_t name[4];
        PYXVariantOwner value;
        EXPECT_EQ(m_storage.GetPropertyAt(i, name, 4, value.Out()), PYX_OK);
        names += Narrow(name) + '=' + Text(value.Get()) + ' ';
    }
    EXPECT_EQ(names, "Col=9 Dur=30 Fix=false Hid=false Tex=x ");
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
    EXPECT_EQ(m_storage.AddTo(&dest, false, true), PYX_NOT_FOUND);
    EXPECT_EQ(::Get(&dest, L"Duration"), "50");
    EXPECT_TRUE(Outcome(m_storage.CopyTo(&dest, true))
                    .ends_with("\nE PropertyStorageExImpl:145 PYX_ERROR 11 : code 11: AddTo() - failed to copy "
                               "property=Fixed"));
    EXPECT_EQ(::Get(&dest, L"Duration"), "30");
    EXPECT_EQ(m_storage.CopyTo(&m_storage, true), PYX_OK);
    EXPECT_EQ(dest.log, "hook Duration hook Duration ");
}

TEST_F(PropertyStorageExImplTest, FallbacksStandInForWhatDoesNotConvert)
{
    const auto floats = [](size_t count) {
        std::string text;
        for (const char* value : {"0", "1.17549e-38", "3.40282e+38"})
        {
            for (size_t i = 0; i < count; ++i) { (text += i ? "," : text.empty() ? "" : " ") += value; }
        }
        return text;
    };
    const std::string pair = "0,0 -2147483648,-2147483648 2147483647,2147483647;";
    const auto expected = Split(";false - -;0 -2147483648 2147483647;0 2.22507e-308 1.79769e+308;0,0,0,0 - -;" + pair +
                                    pair + "0,0 0,1 2147483647,2147483647;0,0 - -;0,0,0,255 - -;- - ;- - ;null - -;" +
                                    floats(1) + ';' + floats(2) + ';' + floats(2) + ';' + floats(3) + ';' + floats(4),
                                ';');
    for (pyx_uint32 type = 1; type <= 17; ++type)
    {
        const PYXPropertyInfoImpl info({L"P", L"", static_cast<PYXVariantType>(type), c_null, c_null, c_null, 3});
        EXPECT_EQ(Text(info.defaultValue) + ' ' + Text(info.minValue) + ' ' + Text(info.maxValue), expected[type]);
    }
    const PYXPropertyInfoImpl listed({L"P", L"", PYX_VARIANT_INT64, Number(8), {}, {}, 3, 0, c_colors});
    EXPECT_EQ(Text(listed.defaultValue) + Text(listed.value.Get()), "77");
}

} // namespace
