#include "vpn/Common/Utility/SecureString.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/WatchedHeap.h"

// Each test runs with narrow and with wide characters.

namespace {

using obg::test::HeapEvent;
using obg::test::WatchedHeap;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/** The narrow text, or its wide form. */
template <class String> String text(std::string_view narrow)
{
    return {narrow.begin(), narrow.end()};
}

constexpr std::string_view kLong = "a secret that is longer than any short string";
constexpr std::string_view kShort = "pw!"; // Lies inside the object for wide characters, too.

template <class String> String& held(SecureString<String>& secure)
{
    return secure;
}

/** A string's bytes up to its capacity, which is what a wipe has to reach. */
template <class String> bool isZeroedToItsCapacity(String& string)
{
    const std::size_t length = string.length();
    string.resize(string.capacity());
    const bool zeroed = std::all_of(string.begin(), string.end(), [](auto c) { return c == 0; });
    string.resize(length);
    return zeroed;
}

/** The same for a held string with a value: what lies behind that. */
template <class String> bool isZeroedBehindItsValue(String& string)
{
    const std::size_t length = string.length();
    string.resize(string.capacity());
    const bool zeroed =
        std::all_of(string.begin() + static_cast<std::ptrdiff_t>(length), string.end(), [](auto c) { return c == 0; });
    string.resize(length);
    return zeroed;
}

MATCHER(IsZeroedWhenFreed, "")
{
    return arg.kind == HeapEvent::Kind::New || arg.zeroed;
}

std::vector<HeapEvent::Kind> kindsOf(const std::vector<HeapEvent>& events)
{
    std::vector<HeapEvent::Kind> kinds;
    std::transform(events.begin(), events.end(), std::back_inserter(kinds), [](const auto& e) { return e.kind; });
    return kinds;
}

/** A place for a SecureString whose bytes can be looked at when the object is gone. */
template <class String> class Place
{
public:
    using Secure = SecureString<String>;

    template <class... Arguments> Secure& make(Arguments&&... arguments)
    {
        m_object = new (static_cast<void*>(m_bytes)) Secure(std::forward<Arguments>(arguments)...);
        return *m_object;
    }

    void destroy() { m_object->~Secure(); }

    bool contains(const String& secret) const
    {
        const std::string_view bytes(reinterpret_cast<const char*>(m_bytes), sizeof m_bytes);
        const std::string_view searched(reinterpret_cast<const char*>(secret.data()),
                                        secret.size() * sizeof(typename String::value_type));
        return bytes.find(searched) != std::string_view::npos;
    }

private:
    alignas(Secure) std::byte m_bytes[sizeof(Secure)] = {};
    Secure* m_object = nullptr;
};

template <class String> class SecureStringTest : public ::testing::Test
{
protected:
    using Char = typename String::value_type;
    using Secure = SecureString<String>;

    const String m_long = text<String>(kLong);
    const String m_short = text<String>(kShort);
    const String m_withNul = text<String>(std::string_view("ab\0cd", 5));
    const Char* m_null = nullptr;
};

using Strings = ::testing::Types<std::string, std::wstring>;

class StringNames
{
public:
    template <class String> static std::string GetName(int /*index*/)
    {
        return std::is_same_v<String, std::string> ? "narrow" : "wide";
    }
};

TYPED_TEST_SUITE(SecureStringTest, Strings, StringNames);

static_assert(std::is_nothrow_destructible_v<SecureString<std::string>>);
static_assert(std::is_nothrow_destructible_v<SecureString<std::wstring>>);

// Construction

TYPED_TEST(SecureStringTest, isEmptyByDefault)
{
    const SecureString<TypeParam> secure;
    EXPECT_EQ(secure.length(), 0U);
    EXPECT_EQ(TypeParam(secure.c_str()), TypeParam());
}

TYPED_TEST(SecureStringTest, copiesAPointersTextUpToTheFirstNul)
{
    const SecureString<TypeParam> secure(this->m_withNul.c_str());
    EXPECT_EQ(TypeParam(secure), text<TypeParam>("ab"));
    EXPECT_EQ(secure.length(), 2U);
}

TYPED_TEST(SecureStringTest, aNullPointerIsALogicError)
{
    EXPECT_THROW(SecureString<TypeParam>(this->m_null), std::logic_error);
    EXPECT_THROW(SecureString<TypeParam>(this->m_null, 1), std::logic_error);
}

TYPED_TEST(SecureStringTest, copiesExactlyTheCountedCharacters)
{
    const SecureString<TypeParam> secure(this->m_withNul.data(), 4);
    EXPECT_EQ(secure.length(), 4U);
    EXPECT_EQ(TypeParam(secure), text<TypeParam>(std::string_view("ab\0c", 4)));
}

TYPED_TEST(SecureStringTest, aCountOfZeroLooksAtNoPointer)
{
    EXPECT_EQ(SecureString<TypeParam>(this->m_null, 0).length(), 0U);
    EXPECT_EQ(SecureString<TypeParam>(this->m_long.data(), 0).length(), 0U);
}

TYPED_TEST(SecureStringTest, copiesAPlainStringUpToItsFirstNul)
{
    const SecureString<TypeParam> secure(this->m_withNul);
    EXPECT_EQ(TypeParam(secure), text<TypeParam>("ab"));
}

TYPED_TEST(SecureStringTest, aCopyEndsAtTheFirstNul)
{
    const SecureString<TypeParam> original(this->m_withNul.data(), this->m_withNul.size());
    const SecureString<TypeParam> copy(original);
    EXPECT_EQ(original.length(), 5U);
    EXPECT_EQ(TypeParam(copy), text<TypeParam>("ab"));
}

TYPED_TEST(SecureStringTest, everyCopyHasABufferOfItsOwn)
{
    const TypeParam plain = this->m_long;
    SecureString<TypeParam> original(plain);
    const SecureString<TypeParam> copy(original);
    SecureString<TypeParam> assigned;
    assigned = original;
    EXPECT_NE(original.c_str(), plain.c_str());
    EXPECT_NE(copy.c_str(), original.c_str());
    EXPECT_NE(assigned.c_str(), original.c_str());
    SecureString<TypeParam>::Reset(original);
    EXPECT_EQ(plain, this->m_long);
    EXPECT_EQ(TypeParam(copy), this->m_long);
    EXPECT_EQ(TypeParam(assigned), this->m_long);
}

// Access

TYPED_TEST(SecureStringTest, givesTheHeldStringItself)
{
    SecureString<TypeParam> secure(this->m_long);
    held(secure)[0] = 'X';
    EXPECT_EQ(secure.c_str()[0], static_cast<typename TypeParam::value_type>('X'));
    EXPECT_EQ(secure.c_str(), held(secure).c_str());
    const SecureString<TypeParam>& readable = secure;
    const TypeParam& heldString = readable;
    EXPECT_EQ(&heldString, &held(secure));
    EXPECT_EQ(readable.length(), this->m_long.length());
}

// Assignment

TYPED_TEST(SecureStringTest, assignmentCopiesUpToTheFirstNul)
{
    const SecureString<TypeParam> other(this->m_withNul.data(), this->m_withNul.size());
    SecureString<TypeParam> secure(this->m_long);
    EXPECT_EQ(&(secure = other), &secure);
    EXPECT_EQ(TypeParam(secure), text<TypeParam>("ab"));
    EXPECT_EQ(other.length(), 5U);
}

TYPED_TEST(SecureStringTest, assignmentWipesWhatWasHeldBefore)
{
    SecureString<TypeParam> secure(this->m_long);
    secure = SecureString<TypeParam>(this->m_short);
    EXPECT_EQ(TypeParam(secure), this->m_short);
    EXPECT_TRUE(isZeroedBehindItsValue(held(secure)));
}

TYPED_TEST(SecureStringTest, assignmentOfALongerTextGivesBackAWipedBuffer)
{
    SecureString<TypeParam> secure(this->m_long);
    const SecureString<TypeParam> longer(this->m_long + this->m_long + this->m_long);
    const WatchedHeap heap;
    secure = longer;
    EXPECT_THAT(kindsOf(heap.events()), ElementsAre(HeapEvent::Kind::New, HeapEvent::Kind::Delete));
    EXPECT_THAT(heap.events(), Each(IsZeroedWhenFreed()));
    EXPECT_EQ(secure.length(), longer.length());
}

TYPED_TEST(SecureStringTest, assignmentToItselfLeavesItEmpty)
{
    for (const TypeParam& value : {this->m_long, this->m_short}) {
        SecureString<TypeParam> secure(value);
        const SecureString<TypeParam>& same = secure;
        secure = same;
        EXPECT_EQ(secure.length(), 0U);
        EXPECT_TRUE(isZeroedToItsCapacity(held(secure)));
    }
}

// Appending

TYPED_TEST(SecureStringTest, appendsUpToTheFirstNul)
{
    SecureString<TypeParam> secure(this->m_short);
    EXPECT_EQ(&(secure += this->m_withNul), &secure);
    EXPECT_EQ(TypeParam(secure), text<TypeParam>("pw!ab"));
    secure += TypeParam();
    EXPECT_EQ(TypeParam(secure), text<TypeParam>("pw!ab"));
    secure += this->m_long;
    EXPECT_EQ(TypeParam(secure), text<TypeParam>("pw!ab") + this->m_long);
}

TYPED_TEST(SecureStringTest, anAppendThatFitsTouchesNoOtherBuffer)
{
    SecureString<TypeParam> secure(this->m_long);
    held(secure).reserve(200);
    const TypeParam filling(held(secure).capacity() - secure.length() - 1, 'x');
    const auto* buffer = secure.c_str();
    const WatchedHeap heap;
    secure += filling;
    EXPECT_THAT(heap.events(), IsEmpty());
    EXPECT_EQ(secure.c_str(), buffer);
    EXPECT_EQ(TypeParam(secure), this->m_long + filling);
}

TYPED_TEST(SecureStringTest, anAppendThatReachesTheCapacityMovesTheText)
{
    SecureString<TypeParam> secure(this->m_long);
    held(secure).reserve(200);
    const TypeParam filling(held(secure).capacity() - secure.length(), 'x');
    const auto* buffer = secure.c_str();
    secure += filling;
    EXPECT_NE(secure.c_str(), buffer);
    EXPECT_EQ(TypeParam(secure), this->m_long + filling);
    EXPECT_GE(held(secure).capacity(), secure.length() + 256);
}

TYPED_TEST(SecureStringTest, aMovedTextHasRoomFor256MoreCharacters)
{
    for (const TypeParam& value : {TypeParam(), this->m_short, this->m_long}) {
        SecureString<TypeParam> secure(value);
        held(secure).shrink_to_fit();
        secure += this->m_long;
        EXPECT_EQ(TypeParam(secure), value + this->m_long);
        EXPECT_GE(held(secure).capacity(), secure.length() + 256);
    }
}

TYPED_TEST(SecureStringTest, theRoomIsReckonedWithAllOfTheAppendedString)
{
    TypeParam appended = text<TypeParam>("b");
    appended += TypeParam(1000, 0);
    SecureString<TypeParam> secure(text<TypeParam>("a"));
    secure += appended;
    EXPECT_EQ(TypeParam(secure), text<TypeParam>("ab"));
    EXPECT_GE(held(secure).capacity(), 1U + 1001U + 256U);
}

TYPED_TEST(SecureStringTest, aTextThatIsMovedIsCutAtItsFirstNul)
{
    SecureString<TypeParam> secure(this->m_withNul.data(), this->m_withNul.size());
    held(secure).reserve(100);
    secure += text<TypeParam>("!");
    EXPECT_EQ(TypeParam(secure), text<TypeParam>(std::string_view("ab\0cd!", 6)));
    secure += TypeParam(held(secure).capacity(), 'x');
    EXPECT_EQ(TypeParam(secure).substr(0, 3), text<TypeParam>("abx"));
}

TYPED_TEST(SecureStringTest, movesTheTextThroughACopyAndWipesBothBeforeTheyGoBack)
{
    using Kind = HeapEvent::Kind;
    constexpr std::size_t kCharSize = sizeof(typename TypeParam::value_type);
    SecureString<TypeParam> secure(this->m_long);
    held(secure).shrink_to_fit();
    const std::size_t oldBlock = (held(secure).capacity() + 1) * kCharSize;

    WatchedHeap heap;
    heap.watch(secure.c_str());
    secure += this->m_long;
    const std::vector<HeapEvent> events = heap.events();

    // The copy, the new buffer, the old buffer, the copy again.
    ASSERT_THAT(kindsOf(events), ElementsAre(Kind::New, Kind::New, Kind::Delete, Kind::Delete));
    EXPECT_THAT(events, Each(IsZeroedWhenFreed()));
    EXPECT_FALSE(events[0].watchedBlockZeroed);
    EXPECT_TRUE(events[1].watchedBlockZeroed);
    EXPECT_GE(events[1].size, (2 * this->m_long.size() + 256 + 1) * kCharSize);
    EXPECT_EQ(events[2].size, oldBlock);
    EXPECT_EQ(events[3].size, events[0].size);
    EXPECT_EQ(TypeParam(secure), this->m_long + this->m_long);
}

TYPED_TEST(SecureStringTest, aShortTextThatMovesOutOfTheObjectIsWipedThere)
{
    Place<TypeParam> place;
    SecureString<TypeParam>& secure = place.make(this->m_short);
    ASSERT_TRUE(place.contains(this->m_short));
    secure += this->m_long;
    EXPECT_FALSE(place.contains(this->m_short));
    EXPECT_EQ(TypeParam(secure), this->m_short + this->m_long);
    place.destroy();
}

TYPED_TEST(SecureStringTest, canBeAppendedToItself)
{
    for (const TypeParam& value : {text<TypeParam>("a"), this->m_short, this->m_long}) {
        SecureString<TypeParam> secure(value);
        secure += held(secure);
        EXPECT_EQ(TypeParam(secure), value + value);
    }
    SecureString<TypeParam> roomy(this->m_long);
    held(roomy).reserve(1000);
    roomy += held(roomy);
    EXPECT_EQ(TypeParam(roomy), this->m_long + this->m_long);
}

TYPED_TEST(SecureStringTest, anAppendOfALongTextToItselfGivesBackNoText)
{
    const TypeParam value(1000, 'x');
    SecureString<TypeParam> secure(value);
    {
        const WatchedHeap heap;
        secure += held(secure);
        EXPECT_THAT(heap.events(), Each(IsZeroedWhenFreed()));
    }
    EXPECT_EQ(TypeParam(secure), value + value);
}

TYPED_TEST(SecureStringTest, noAppendEverGivesBackABufferWithText)
{
    SecureString<TypeParam> secure;
    {
        const WatchedHeap heap;
        for (int i = 0; i < 40; ++i) {
            secure += this->m_long;
        }
        EXPECT_THAT(heap.events(), Each(IsZeroedWhenFreed()));
    }
    EXPECT_EQ(secure.length(), 40 * this->m_long.size());
}

// Destruction

TYPED_TEST(SecureStringTest, theDestructorWipesALongText)
{
    const WatchedHeap heap;
    {
        const SecureString<TypeParam> secure(this->m_long);
    }
    EXPECT_THAT(kindsOf(heap.events()), ElementsAre(HeapEvent::Kind::New, HeapEvent::Kind::Delete));
    EXPECT_THAT(heap.events(), Each(IsZeroedWhenFreed()));
}

TYPED_TEST(SecureStringTest, theDestructorWipesAShortTextInsideTheObject)
{
    Place<TypeParam> place;
    place.make(this->m_short);
    ASSERT_TRUE(place.contains(this->m_short));
    place.destroy();
    EXPECT_FALSE(place.contains(this->m_short));
}

TYPED_TEST(SecureStringTest, theDestructorWipesWhatLiesBehindTheTerminator)
{
    const WatchedHeap heap;
    {
        SecureString<TypeParam> secure(this->m_long);
        held(secure).resize(1);
    }
    EXPECT_THAT(heap.events(), Each(IsZeroedWhenFreed()));

    Place<TypeParam> place;
    held(place.make(this->m_short)).clear();
    const TypeParam behindTheFirst = this->m_short.substr(1);
    ASSERT_TRUE(place.contains(behindTheFirst));
    place.destroy();
    EXPECT_FALSE(place.contains(behindTheFirst));
}

// Reset and GetAndClear

TYPED_TEST(SecureStringTest, resetWipesAPlainStringToItsCapacity)
{
    for (const TypeParam& value : {this->m_long, this->m_short}) {
        TypeParam plain = value;
        const std::size_t capacity = plain.capacity();
        const auto* buffer = plain.data();
        SecureString<TypeParam>::Reset(plain);
        EXPECT_TRUE(plain.empty());
        EXPECT_EQ(plain.capacity(), capacity);
        EXPECT_EQ(plain.data(), buffer);
        EXPECT_TRUE(isZeroedToItsCapacity(plain));
    }
}

TYPED_TEST(SecureStringTest, resetOfAnEmptyStringAllocatesNothing)
{
    TypeParam plain;
    const WatchedHeap heap;
    SecureString<TypeParam>::Reset(plain);
    EXPECT_THAT(heap.events(), IsEmpty());
    EXPECT_TRUE(plain.empty());
}

TYPED_TEST(SecureStringTest, resetNeverReallocates)
{
    TypeParam plain = this->m_long;
    plain.reserve(500);
    const WatchedHeap heap;
    SecureString<TypeParam>::Reset(plain);
    EXPECT_THAT(heap.events(), IsEmpty());
}

TYPED_TEST(SecureStringTest, getAndClearTakesTheTextAndLeavesZeros)
{
    TypeParam source = text<TypeParam>(std::string_view("hello\0tail", 10));
    SecureString<TypeParam> secure = SecureString<TypeParam>::GetAndClear(source.data());
    EXPECT_EQ(TypeParam(secure), text<TypeParam>("hello"));
    EXPECT_EQ(source, text<TypeParam>(std::string_view("\0\0\0\0\0\0tail", 10)));
}

TYPED_TEST(SecureStringTest, getAndClearOfAnEmptyTextChangesNothing)
{
    TypeParam source = text<TypeParam>(std::string_view("\0rest", 5));
    EXPECT_EQ(SecureString<TypeParam>::GetAndClear(source.data()).length(), 0U);
    EXPECT_EQ(source, text<TypeParam>(std::string_view("\0rest", 5)));
}

TYPED_TEST(SecureStringTest, getAndClearLeavesNoCopyOnTheHeap)
{
    TypeParam source = this->m_long;
    const WatchedHeap heap;
    {
        const SecureString<TypeParam> secure = SecureString<TypeParam>::GetAndClear(source.data());
    }
    EXPECT_THAT(heap.events(), Each(IsZeroedWhenFreed()));
    EXPECT_EQ(source, TypeParam(this->m_long.size(), 0));
}

// wipeString

TYPED_TEST(SecureStringTest, wipeStringWipesAsResetDoes)
{
    const WatchedHeap heap;
    {
        TypeParam plain = this->m_long;
        plain.resize(1);
        wipeString(plain);
        EXPECT_TRUE(plain.empty());
        EXPECT_TRUE(isZeroedToItsCapacity(plain));
    }
    EXPECT_THAT(heap.events(), Each(IsZeroedWhenFreed()));
}

} // namespace
