// A waitable kernel object as the system hands it out (a Windows HANDLE), kept opaque so
// that code above the platform layer can hold one without the Windows headers.
#pragma once

namespace Orvane::Platform {

using KernelHandle = void*;

}  // namespace Orvane::Platform
