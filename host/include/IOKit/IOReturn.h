#ifndef __IOKIT_IORETURN_H
#define __IOKIT_IORETURN_H

#include <mach/mach.h>

typedef kern_return_t IOReturn;

#define iokit_common_err(code) ((IOReturn)(0xe0000000u | (code)))

#define kIOReturnSuccess KERN_SUCCESS
#define kIOReturnError iokit_common_err(0x2bc)
#define kIOReturnNoDevice iokit_common_err(0x2c0)
#define kIOReturnNotPrivileged iokit_common_err(0x2c1)
#define kIOReturnBadArgument iokit_common_err(0x2c2)
#define kIOReturnUnsupported iokit_common_err(0x2c7)
#define kIOReturnIOError iokit_common_err(0x2ca)
#define kIOReturnCannotLock iokit_common_err(0x2cc)
#define kIOReturnNotWritable iokit_common_err(0x2cf)
#define kIOReturnNoSpace iokit_common_err(0x2db)
#define kIOReturnNotFound iokit_common_err(0x2f0)

#endif  // __IOKIT_IORETURN_H
