#include "network/errno_mapping.h"

#include <cerrno>

namespace Orvane::Network {
namespace {

struct Mapping {
    int errnoValue;
    int winsockError;
};

// Winsock's WSAE* numbers are 10000 plus the BSD errno number of the same name; Linux
// numbers differ, so each is mapped by name. EAGAIN equals EWOULDBLOCK on Linux.
constexpr Mapping kMappings[] = {
    {EINTR, 10004},        {EBADF, 10009},           {EACCES, 10013},
    {EPERM, 10013},        {EFAULT, 10014},          {EINVAL, 10022},
    {EMFILE, 10024},       {ENFILE, 10024},          {EWOULDBLOCK, 10035},
    {EINPROGRESS, 10036},  {EALREADY, 10037},        {ENOTSOCK, 10038},
    {EDESTADDRREQ, 10039}, {EMSGSIZE, 10040},        {EPROTOTYPE, 10041},
    {ENOPROTOOPT, 10042},  {EPROTONOSUPPORT, 10043}, {ESOCKTNOSUPPORT, 10044},
    {EOPNOTSUPP, 10045},   {EPFNOSUPPORT, 10046},    {EAFNOSUPPORT, 10047},
    {EADDRINUSE, 10048},   {EADDRNOTAVAIL, 10049},   {ENETDOWN, 10050},
    {ENETUNREACH, 10051},  {ENETRESET, 10052},       {ECONNABORTED, 10053},
    {ECONNRESET, 10054},   {ENOBUFS, 10055},         {ENOMEM, 10055},
    {EISCONN, 10056},      {ENOTCONN, 10057},        {ESHUTDOWN, 10058},
    {EPIPE, 10058},        {ETOOMANYREFS, 10059},    {ETIMEDOUT, 10060},
    {ECONNREFUSED, 10061}, {ELOOP, 10062},           {ENAMETOOLONG, 10063},
    {EHOSTDOWN, 10064},    {EHOSTUNREACH, 10065},    {ENOTEMPTY, 10066},
    {EUSERS, 10068},       {EDQUOT, 10069},          {ESTALE, 10070},
    {EREMOTE, 10071},
};

}  // namespace

int WinsockErrorFromErrno(int error) {
    for (const auto& mapping : kMappings) {
        if (mapping.errnoValue == error) {
            return mapping.winsockError;
        }
    }
    return error;
}

}  // namespace Orvane::Network
