// SPDX-License-Identifier: Apache-2.0
// The server's system object, made from the server sub-command's -o
// options (PAPPL's main loop passes them on):
//
//   listen-hostname=NAME    where to listen: "localhost" (the default), a
//                           host name or address, or "*" for every address
//   server-port=N           the IPP port (default 8631)
//   server-hostname=NAME    the host name in the printers' URIs
//   state-file=FILE         printers and settings, kept across restarts
//                           (default /var/lib/korvo-printer-app.state for
//                           root, else ~/.config/korvo-printer-app.state)
//   spool-directory=DIR     job files (default /var/spool/korvo-printer-app
//                           for root, else a new temporary directory)
//   log-file=FILE           "-" for standard error (the default), "syslog"
//   log-level=LEVEL         debug, info (the default), warn, error, fatal
//   auth-service=SERVICE    the PAM service that checks the passwords of
//                           remote administrators (none by default)
//   admin-group=GROUP       the group whose members may administer
//   server-options=LIST     PAPPL's options, comma-separated: web-remote,
//                           web-security, web-log, web-network, web-tls,
//                           raw-socket, dnssd-host, no-tls
#pragma once

#include <pappl/pappl.h>

// context points to a bool: true for the server sub-command; any other
// sub-command gets a system without listeners, log or state.
pappl_system_t* korvoSystem(int optionCount, cups_option_t* options, void* context);
