/// The macros that mark what the library exports; everything else stays hidden.
#ifndef KIV_EXPORT_H
#define KIV_EXPORT_H

/// Marks what the library exports.
#define KIV_API __attribute__((visibility("default")))

/// Marks a private member function of an exported class that no header calls: it stays hidden, too.
#define KIV_LOCAL __attribute__((visibility("hidden")))

#endif
