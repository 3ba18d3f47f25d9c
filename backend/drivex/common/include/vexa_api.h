// The export mark. The library is compiled with hidden visibility, so what carries VEXA_API is its interface
// and everything else stays inside. Used by the public C header as well: keep this file valid C11.
#ifndef VEXA_API_H
#define VEXA_API_H

#define VEXA_API __attribute__((visibility("default")))

#endif
