// The natives behind VexaFunctions, made from the table of the interface. Arguments come, and results go, by
// their kinds, each in the order of the header: whole numbers and flags, doubles, and the rest as objects:
// texts and bytes as byte arrays, lists as arrays of these, int[] and double[].
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string_view>
#include <vector>

#include "vexaxd_jni.h"
#include "vexaxd_p.h"

namespace {

class Call {
 public:
  Call(JNIEnv* env_, jlongArray longs_, jdoubleArray doubles_, jobjectArray objects_)
      : env(env_),
        longs(env->GetArrayLength(longs_)),
        doubles(env->GetArrayLength(doubles_)),
        objects(objects_) {
    env->GetLongArrayRegion(longs_, 0, static_cast<jsize>(longs.size()), longs.data());
    env->GetDoubleArrayRegion(doubles_, 0, static_cast<jsize>(doubles.size()), doubles.data());
  }

  // Without one a call that asks would wait for one for ever. The library looks, and asks nobody.
  bool HasSession(const char* function) {
    constexpr int kNotRunning = 17;
    if (FreeStringArray(nullptr, 0) != kNotRunning) return true;
    Throw(env, function, kNotRunning, std::string(function) + ": no backend is running (17)");
    return false;
  }
  void Fail(const char* function, int code) { Good(env, function, code); }
  void Refuse(const char* words) {
    env->ThrowNew(env->FindClass("java/lang/IllegalArgumentException"), words);
  }

  // --- What goes in, one behind the other ---
  jlong Long() { return longs[next_long++]; }
  double Double() { return doubles[next_double++]; }
  const char* Text() { return Keep(static_cast<jbyteArray>(Object())); }
  const char* Bytes() {
    const char* const bytes = Text();
    length = static_cast<int>(kept.back().size());
    return bytes;
  }
  int Length() const { return length; }
  std::vector<char*> Texts() {
    const auto list = static_cast<jobjectArray>(Object());
    std::vector<char*> texts;
    for (jsize i = 0; i < env->GetArrayLength(list); ++i)
      texts.push_back(const_cast<char*>(Keep(static_cast<jbyteArray>(env->GetObjectArrayElement(list, i)))));
    return texts;
  }
  struct Numbers : std::vector<int> {
    using std::vector<int>::vector;
    int* data() const { return const_cast<int*>(std::vector<int>::data()); }
  };
  Numbers Ints() {
    const auto array = static_cast<jintArray>(Object());
    Numbers numbers(static_cast<std::size_t>(env->GetArrayLength(array)));
    env->GetIntArrayRegion(array, 0, static_cast<jsize>(numbers.size()), numbers.data());
    return numbers;
  }

  // --- What comes out ---
  void Give(int value) { out_longs.push_back(value); }
  void Give(long value) { out_longs.push_back(value); }
  void Give(double value) { out_doubles.push_back(value); }
  void Give(const char* text) { out_objects.push_back(text != nullptr ? ArrayOf(text) : nullptr); }
  void GiveOwn(char* text) {
    Give(text);
    FreeString(text);
  }
  void GiveBytes(const char* bytes, int count) {
    out_objects.push_back(ArrayOf({bytes, bytes != nullptr ? static_cast<std::size_t>(count) : 0}));
  }
  void GiveWide(const wchar_t* text) {
    std::string utf8;
    for (; text != nullptr && *text != L'\0'; ++text) {
      const auto c = static_cast<char32_t>(*text);
      const int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
      static constexpr unsigned kFirst[] = {0, 0xC0, 0xE0, 0xF0};
      utf8 += static_cast<char>(kFirst[more] | c >> 6 * more);
      for (int i = more - 1; i >= 0; --i) utf8 += static_cast<char>(0x80 | (c >> 6 * i & 0x3F));
    }
    Give(utf8.c_str());
  }
  void GiveTexts(char* const* texts, int count) {
    GiveEach(texts != nullptr ? count : 0, [&](int i) { return texts[i]; });
  }
  void GiveList(void* handle) {
    GiveEach(GetStringListLength(handle), [&](int i) { return GetStringFromList(handle, i); });
    RemoveStringList(handle);
  }
  void GiveNumbers(const double* numbers, int count) {
    const jsize size = numbers != nullptr ? count : 0;
    const jdoubleArray array = env->NewDoubleArray(size);
    if (array != nullptr) env->SetDoubleArrayRegion(array, 0, size, numbers);
    out_objects.push_back(array);
  }
  void GiveInts(const int* numbers, int count) {
    const jsize size = numbers != nullptr ? count : 0;
    const jintArray array = env->NewIntArray(size);
    if (array != nullptr) env->SetIntArrayRegion(array, 0, size, numbers);
    out_objects.push_back(array);
  }

  // Null with Java's exception, where a call failed or memory is missing.
  jobjectArray Results() {
    if (env->ExceptionCheck()) return nullptr;
    const jclass object = env->FindClass("java/lang/Object");
    const jlongArray whole = env->NewLongArray(static_cast<jsize>(out_longs.size()));
    const jdoubleArray real = env->NewDoubleArray(static_cast<jsize>(out_doubles.size()));
    const jobjectArray rest = env->NewObjectArray(static_cast<jsize>(out_objects.size()), object, nullptr);
    const jobjectArray kinds = env->NewObjectArray(3, object, nullptr);
    if (env->ExceptionCheck()) return nullptr;
    env->SetLongArrayRegion(whole, 0, static_cast<jsize>(out_longs.size()), out_longs.data());
    env->SetDoubleArrayRegion(real, 0, static_cast<jsize>(out_doubles.size()), out_doubles.data());
    for (std::size_t i = 0; i < out_objects.size(); ++i)
      env->SetObjectArrayElement(rest, static_cast<jsize>(i), out_objects[i]);
    for (const auto& [place, kind] : {std::pair<jsize, jobject>{0, whole}, {1, real}, {2, rest}})
      env->SetObjectArrayElement(kinds, place, kind);
    return kinds;
  }

 private:
  jobject Object() { return env->GetObjectArrayElement(objects, next_object++); }
  const char* Keep(jbyteArray array) {
    kept.emplace_back();
    if (array == nullptr) return nullptr;
    kept.back().resize(static_cast<std::size_t>(env->GetArrayLength(array)));
    env->GetByteArrayRegion(array, 0, static_cast<jsize>(kept.back().size()),
                            reinterpret_cast<jbyte*>(kept.back().data()));
    return kept.back().c_str();
  }
  jbyteArray ArrayOf(std::string_view bytes) {
    const auto size = static_cast<jsize>(bytes.size());
    const jbyteArray array = env->NewByteArray(size);
    if (array != nullptr)
      env->SetByteArrayRegion(array, 0, size, reinterpret_cast<const jbyte*>(bytes.data()));
    return array;
  }
  template <class TextOf>
  void GiveEach(int count, TextOf text_of) {
    const jobjectArray list = env->NewObjectArray(count, env->FindClass("[B"), nullptr);
    out_objects.push_back(list);
    for (int i = 0; list != nullptr && i < count; ++i) {
      const jbyteArray text = ArrayOf(text_of(i));
      env->SetObjectArrayElement(list, i, text);
      env->DeleteLocalRef(text);
    }
  }

  JNIEnv* const env;
  std::vector<jlong> longs;
  std::vector<jdouble> doubles;
  const jobjectArray objects;
  std::deque<std::string> kept;  // the texts that went in
  std::size_t next_long = 0, next_double = 0;
  jsize next_object = 0;
  int length = 0;
  std::vector<jlong> out_longs;
  std::vector<jdouble> out_doubles;
  std::vector<jobject> out_objects;
};

// A copy that the library takes over; null where there is no memory.
void* Given(const char* bytes, int length) {
  const auto size = static_cast<std::size_t>(length);
  void* const given = std::malloc(size + 1);
  return given != nullptr && size > 0 ? std::memcpy(given, bytes, size) : given;
}

#include "functions.inc"

jobjectArray CallFunction(JNIEnv* env, jclass, jbyteArray name, jlongArray longs, jdoubleArray doubles,
                          jobjectArray objects) {
  const std::string wanted = Text(env, name);
  Call call(env, longs, doubles, objects);
  const auto* const found = std::find_if(std::begin(kFunctions), std::end(kFunctions),
                                         [&](const auto& each) { return each.name == wanted; });
  if (found != std::end(kFunctions)) found->function(call);
  return call.Results();
}

}  // namespace

JNINativeMethod FunctionMethod() {
  return Method("call", "([B[J[D[Ljava/lang/Object;)[Ljava/lang/Object;", CallFunction);
}
