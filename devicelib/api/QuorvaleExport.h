/* Symbol visibility and linkage for the Quorvale device access library. */
#ifndef QUORVALE_EXPORT_H
#define QUORVALE_EXPORT_H

#if defined(QUORVALE_BUILDING_LIBRARY)
#define QUORVALE_EXPORT __attribute__((visibility("default")))
#else
#define QUORVALE_EXPORT
#endif

#ifdef __cplusplus
#define QUORVALE_BEGIN_DECLS extern "C" {
#define QUORVALE_END_DECLS }
#else
#define QUORVALE_BEGIN_DECLS
#define QUORVALE_END_DECLS
#endif

#endif
