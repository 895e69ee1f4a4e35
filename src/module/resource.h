/* Numbers of the module's resources. Read by the resource compiler too. */
#pragma once

#define IDR_TYPE_LIBRARY 1
#define IDR_APPLICATION_ID_SCRIPT 101
#define IDR_CLASS_SCRIPT 106
#define IDS_CLASS_NAME 1000 /* class.rgs refers to it by number */
