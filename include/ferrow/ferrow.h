// Everything a firmware uses to run on the PC under Ferrow.
#pragma once

#include <ferrow/CFG_File.h>
#include <ferrow/CWnd.h>
#include <ferrow/CfgFile_c.h>
#include <ferrow/Exception.h>
#include <ferrow/FerrowApi.h>
#include <ferrow/FerrowFactory.h>
#include <ferrow/Ferrow_ADC_c.h>
#include <ferrow/Ferrow_EEPROM_c.h>
#include <ferrow/Ferrow_GPIO_c.h>
#include <ferrow/Ferrow_I2C_c.h>
#include <ferrow/Ferrow_ICAP_c.h>
#include <ferrow/Ferrow_N2K_Gen_c.h>
#include <ferrow/Ferrow_N2K_Mon_c.h>
#include <ferrow/Ferrow_OCMP_c.h>
#include <ferrow/Ferrow_PWM_c.h>
#include <ferrow/Ferrow_SPI_c.h>
#include <ferrow/Ferrow_Serial_c.h>
#include <ferrow/Ferrow_Sim_c.h>
#include <ferrow/Ferrow_c.h>
#include <ferrow/N2KMsg.h>
#include <ferrow/N2KStatus.h>
#include <ferrow/PanelProvider.h>
#include <ferrow/PeripheralPanel.h>
