// The inline classes that Visual C++ hosts get, used by a translation unit of
// their own (InlineClasses.cpp, compiled with QZ_USE_FLAT_ABI): this program's
// other units, and the test support they include, use the exported ones.
#ifndef QZ_TESTS_ALLOC_INLINECLASSES_H
#define QZ_TESTS_ALLOC_INLINECLASSES_H

namespace qz {
namespace test {

// Builds and uses an object of every inline class. Lets std::bad_alloc through
// where the exported classes raise it; false when an answer was wrong.
bool UseEveryInlineClass();

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_ALLOC_INLINECLASSES_H
