// SPDX-License-Identifier: Apache-2.0
// korvo-printer-app: the Korvo printers (R27 and V315 for labels and
// receipts, K5 and Q6 for tattoo stencils) as IPP Everywhere printers, with
// PAPPL's standard sub-commands (server, drivers, devices, add, printers,
// submit, jobs, cancel, status, shutdown, ...). See SystemSetup.h for the
// server's options.
#include <pappl/pappl.h>

#include <cstring>

#include "DriverSetup.h"
#include "Models.h"
#include "SystemSetup.h"
#include "VirtualDevice.h"

int main(int argc, char* argv[])
{
    addVirtualDeviceScheme();
    bool serving = argc > 1 && strcmp(argv[1], "server") == 0;
    const std::span<pappl_pr_driver_t> drivers = papplDriverList();
    return papplMainloop(argc, argv, KORVO_VERSION, nullptr, static_cast<int>(drivers.size()), drivers.data(),
                         korvoAutoAdd, korvoDriverSetup, nullptr, nullptr, korvoSystem, nullptr, &serving);
}
