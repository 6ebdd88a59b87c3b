#include "rill_target.h"

#include <clang/Basic/TargetInfo.h>
#include <llvm/ADT/APFloat.h>

namespace c2i {

const char* const kClangTriple = "i386-unknown-unknown-elf";

namespace {

// The integer-type choices of a target record are protected; this class
// only names them so that they can be set from outside (it is never made).
struct TARGET_ACCESS : clang::TargetInfo {
  using TransferrableTargetInfo::Char16Type;
  using TransferrableTargetInfo::Char32Type;
  using TransferrableTargetInfo::Int16Type;
  using TransferrableTargetInfo::Int64Type;
  using TransferrableTargetInfo::IntMaxType;
  using TransferrableTargetInfo::IntPtrType;
  using TransferrableTargetInfo::PtrDiffType;
  using TransferrableTargetInfo::SigAtomicType;
  using TransferrableTargetInfo::SizeType;
  using TransferrableTargetInfo::WCharType;
  using TransferrableTargetInfo::WIntType;
};

template <class M>
void set(clang::TargetInfo& t, M member, clang::TargetInfo::IntType v) {
  t.*member = v;
}

}  // namespace

void rill_patch_target(clang::TargetInfo& t) {
  using TI = clang::TargetInfo;
  t.BoolWidth = t.BoolAlign = 32;
  t.IntWidth = t.IntAlign = 32;
  t.LongWidth = t.LongAlign = 32;
  t.LongLongWidth = t.LongLongAlign = 32;
  t.PointerWidth = t.PointerAlign = 16;
  t.FloatWidth = t.FloatAlign = 32;
  t.DoubleWidth = t.DoubleAlign = 32;
  t.LongDoubleWidth = t.LongDoubleAlign = 32;
  t.HalfWidth = t.HalfAlign = 16;
  t.FloatFormat = &llvm::APFloat::IEEEsingle();
  t.DoubleFormat = &llvm::APFloat::IEEEsingle();
  t.LongDoubleFormat = &llvm::APFloat::IEEEsingle();
  set(t, &TARGET_ACCESS::SizeType, TI::UnsignedInt);
  set(t, &TARGET_ACCESS::PtrDiffType, TI::SignedInt);
  set(t, &TARGET_ACCESS::IntPtrType, TI::SignedInt);
  set(t, &TARGET_ACCESS::IntMaxType, TI::SignedLongLong);
  set(t, &TARGET_ACCESS::Int64Type, TI::SignedLongLong);
  set(t, &TARGET_ACCESS::Int16Type, TI::SignedShort);
  set(t, &TARGET_ACCESS::WCharType, TI::UnsignedShort);
  set(t, &TARGET_ACCESS::WIntType, TI::SignedInt);
  set(t, &TARGET_ACCESS::Char16Type, TI::UnsignedShort);
  set(t, &TARGET_ACCESS::Char32Type, TI::UnsignedInt);
  set(t, &TARGET_ACCESS::SigAtomicType, TI::SignedInt);
}

std::vector<std::string> rill_predefined_macros(bool c99) {
  std::vector<std::string> m = {
      "__STDC__=1",
      c99 ? "__STDC_VERSION__=199901L" : "__STDC_VERSION__=201112L",
      "__STDC_HOSTED__=1",
      "__STDC_NO_ATOMICS__=1",
      "__STDC_NO_COMPLEX__=1",
      "__STDC_NO_THREADS__=1",
      "__STDC_NO_VLA__=1",
      "__rill__=1",
      "__RILL__=1",
      "__c2icode__=1",
      "__USER_LABEL_PREFIX__=",
      "__FLT_EVAL_METHOD__=0",
      // Sizes count 16-bit units, as sizeof does.
      "__CHAR_BIT__=16",
      "__SIZEOF_SHORT__=1",
      "__SIZEOF_INT__=2",
      "__SIZEOF_LONG__=2",
      "__SIZEOF_LONG_LONG__=2",
      "__SIZEOF_FLOAT__=2",
      "__SIZEOF_DOUBLE__=2",
      "__SIZEOF_LONG_DOUBLE__=2",
      "__SIZEOF_POINTER__=1",
      "__SIZEOF_SIZE_T__=2",
      "__SIZEOF_PTRDIFF_T__=2",
      "__SIZEOF_WCHAR_T__=1",
      "__SIZEOF_WINT_T__=2",
      "__SCHAR_MAX__=32767",
      "__SHRT_MAX__=32767",
      "__INT_MAX__=2147483647",
      "__LONG_MAX__=2147483647L",
      "__LONG_LONG_MAX__=2147483647LL",
      "__WCHAR_MAX__=65535",
      "__WCHAR_MIN__=0",
      "__WINT_MAX__=2147483647",
      "__WINT_MIN__=(-2147483647-1)",
      "__SIZE_MAX__=4294967295U",
      "__PTRDIFF_MAX__=2147483647",
      "__INTMAX_MAX__=2147483647LL",
      "__UINTMAX_MAX__=4294967295ULL",
      "__INTPTR_MAX__=2147483647",
      "__UINTPTR_MAX__=4294967295U",
      "__SIZE_TYPE__=unsigned int",
      "__PTRDIFF_TYPE__=int",
      "__WCHAR_TYPE__=unsigned short",
      "__WINT_TYPE__=int",
      "__CHAR16_TYPE__=unsigned short",
      "__CHAR32_TYPE__=unsigned int",
      "__INTMAX_TYPE__=long long",
      "__UINTMAX_TYPE__=unsigned long long",
      "__INTPTR_TYPE__=int",
      "__UINTPTR_TYPE__=unsigned int",
      "__INT16_TYPE__=short",
      "__INT32_TYPE__=int",
      "__UINT16_TYPE__=unsigned short",
      "__UINT32_TYPE__=unsigned int",
      "__INT_LEAST8_TYPE__=signed char",
      "__UINT_LEAST8_TYPE__=unsigned char",
      "__INT_LEAST16_TYPE__=short",
      "__UINT_LEAST16_TYPE__=unsigned short",
      "__INT_LEAST32_TYPE__=int",
      "__UINT_LEAST32_TYPE__=unsigned int",
      "__FLT_RADIX__=2",
      "__FLT_MANT_DIG__=24",
      "__DBL_MANT_DIG__=24",
      "__LDBL_MANT_DIG__=24",
      "__FLT_DIG__=6",
      "__DBL_DIG__=6",
      "__LDBL_DIG__=6",
      "__FLT_MIN_EXP__=(-125)",
      "__DBL_MIN_EXP__=(-125)",
      "__LDBL_MIN_EXP__=(-125)",
      "__FLT_MAX_EXP__=128",
      "__DBL_MAX_EXP__=128",
      "__LDBL_MAX_EXP__=128",
      "__FLT_MAX__=3.40282347e+38F",
      "__DBL_MAX__=3.40282347e+38",
      "__LDBL_MAX__=3.40282347e+38L",
      "__FLT_MIN__=1.17549435e-38F",
      "__DBL_MIN__=1.17549435e-38",
      "__LDBL_MIN__=1.17549435e-38L",
      "__FLT_EPSILON__=1.19209290e-7F",
      "__DBL_EPSILON__=1.19209290e-7",
      "__LDBL_EPSILON__=1.19209290e-7L",
  };
  return m;
}

}  // namespace c2i
