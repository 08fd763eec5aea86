/* Export macro of libtarn_basic. */
#ifndef TARN_BASIC_EXPORT_H
#define TARN_BASIC_EXPORT_H

#define TARN_BASIC_API __attribute__((visibility("default")))

#endif
