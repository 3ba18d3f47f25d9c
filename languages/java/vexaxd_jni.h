// What the functions of com.kor.statistics.plugin.Native have in common: a code other than 0 becomes a
// VexaException with the name of the function that gave it; texts cross as byte arrays. Where one of these
// has thrown, Java's exception is pending, and the function that asked has to return.
#ifndef VEXAXD_JNI_H
#define VEXAXD_JNI_H

#include <jni.h>

#include <span>
#include <string>

void Throw(JNIEnv* env, const char* function, int code, const std::string& words);

// Whether calls go through; throws otherwise.
bool Ready(JNIEnv* env, const char* function);
// Whether the code is 0; throws, with the library's words, otherwise.
bool Good(JNIEnv* env, const char* function, int code);

// The bytes of an array that ends in a zero.
std::string Text(JNIEnv* env, jbyteArray array);
// Null, with Java's exception, where there is no memory.
jbyteArray Bytes(JNIEnv* env, const char* text);

template <class Function>
JNINativeMethod Method(const char* name, const char* signature, Function* function) {
  return {const_cast<char*>(name), const_cast<char*>(signature), reinterpret_cast<void*>(function)};
}

// Those of vexaxd_jni_columns.cpp.
std::span<const JNINativeMethod> ColumnMethods();
// That of vexaxd_jni_functions.cpp.
JNINativeMethod FunctionMethod();

#endif
