// Resource ids shared by the resource script and the code (kept plain for the resource compiler).
#ifndef QISRTVCARD_RESOURCE_H
#define QISRTVCARD_RESOURCE_H

#define IDD_COUNTRY 129
#define IDC_COUNTRY_LIST 1000
#define IDC_COUNTRY_PROMPT 1001

#endif
