/// The macro that marks what the library exports; everything else stays hidden.
#ifndef KIV_EXPORT_H
#define KIV_EXPORT_H

/// Marks what the library exports.
#define KIV_API __attribute__((visibility("default")))

#endif
