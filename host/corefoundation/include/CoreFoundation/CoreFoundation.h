#ifndef __COREFOUNDATION_COREFOUNDATION__
#define __COREFOUNDATION_COREFOUNDATION__

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFString.h>

#endif  // __COREFOUNDATION_COREFOUNDATION__
