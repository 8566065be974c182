#include "base/loc/catalogues/catalogues.h"

namespace loc {

std::span<const CatalogueEntry> englishTexts() {
  static constexpr CatalogueEntry texts[] = {
      {"plat_bad_argument", "Bad argument '%S'."},
      {"plat_configuration_global_params", "Global parameters"},
      {"plat_configuration_help_default", "default"},
      {"plat_configuration_log_dests_title", "Log destinations:"},
      {"plat_configuration_log_names_title", "Log names:"},
      {"plat_configuration_option_usage_only", "Options are parameters."},
      {"plat_configuration_option_usage_with_extra",
       "Options are parameters, and also the following:"},
      {"plat_configuration_param_usage",
       "Parameters can be turned on with -<param> or off with -<param>=0\n"
       "Values can be specified as -<param> <value>\n"
       "Other valid forms are <param>=<value> -<param>=<value> --<param>=<value>\n"
       "Names are case-insensitive.  Valid parameters are listed below."},
      {"plat_missing_argument", "Missing argument to '%S'."},
      {"plat_param_log", "Record events in the format <log>:<target>:<level>[,...]."},
      {"plat_param_log_keep_days", "Keep log files for X days."},
      {"plat_param_logdir", "Directory in which to store log output directed to file."},
      {"plat_param_logfile", "File in which to store log output directed to file."},
      {"plat_press_return_to_continue", "Press Enter/Return key to continue"},
      {"plat_run_with_help", "Run with -help for usage."},
      {"plat_string_too_long", "String too long"},
      {"plat_this_program_not_directly", "This program is not intended to be run directly."},
      {"plat_usage_help", "Provide [advanced] usage information."},
      {"plat_usage_label", "Usage:"},

      {"loc_param_locale",
       "Locale to use. Specify one of en_US, de_DE, es_ES, fr_FR, or pt_BR, or leave empty to "
       "select the user or system locale as appropriate."},
      {"loc_byterate_unit_sing", "%D byte/s"},
      {"loc_byterate_unit_many", "%D bytes/s"},
      {"loc_byterate_kibi_sing", "%D KB/s"},
      {"loc_byterate_kibi_many", "%D KB/s"},
      {"loc_byterate_mebi_sing", "%D MB/s"},
      {"loc_byterate_mebi_many", "%D MB/s"},
      {"loc_byterate_gibi_sing", "%D GB/s"},
      {"loc_byterate_gibi_many", "%D GB/s"},
      {"loc_bytesize_unit_sing", "%D byte"},
      {"loc_bytesize_unit_many", "%D bytes"},
      {"loc_bytesize_kibi_decimal", "%S KB"},
      {"loc_bytesize_mebi_decimal", "%S MB"},
      {"loc_bytesize_gibi_decimal", "%S GB"},
      {"loc_bytesize_tebi_decimal", "%S TB"},
      {"loc_period_second_sing", "%D second"},
      {"loc_period_second_many", "%D seconds"},
      {"loc_period_minute_sing", "%D minute"},
      {"loc_period_minute_many", "%D minutes"},
      {"loc_period_hour_sing", "%D hour"},
      {"loc_period_hour_many", "%D hours"},
      {"loc_period_day_sing", "%D day"},
      {"loc_period_day_many", "%D days"},
      {"loc_time_yesterday", "yesterday"},
      {"loc_time_tomorrow", "tomorrow"},
      {"loc_timedate_separator", "%1$S, %2$S"},
      {"loc_timezone_separator", "%1$S %2$S"},

      {"io_error_endpoint_badescape", "Invalid endpoint: incorrect %% escape"},
      {"io_error_endpoint_badport", "Invalid endpoint: port not correctly specified"},
      {"io_error_endpoint_bracket", "Invalid endpoint: unmatched \"[\" in host"},
      {"io_error_endpoint_empty", "Invalid endpoint: empty host and/or port"},
      {"io_error_endpoint_general", "Invalid endpoint"},
  };
  return texts;
}

}  // namespace loc
