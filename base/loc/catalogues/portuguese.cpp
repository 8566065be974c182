#include "base/loc/catalogues/catalogues.h"

namespace loc {

std::span<const CatalogueEntry> portugueseTexts() {
  static constexpr CatalogueEntry texts[] = {
      {"plat_bad_argument", "Argumento inválido: “%S”."},
      {"plat_configuration_global_params", "Parâmetros globais"},
      {"plat_configuration_help_default", "padrão"},
      {"plat_configuration_log_dests_title", "Destinos de log:"},
      {"plat_configuration_log_names_title", "Nomes de log:"},
      {"plat_configuration_option_usage_only", "As opções são parâmetros."},
      {"plat_configuration_option_usage_with_extra",
       "As opções são parâmetros e também as seguintes:"},
      {"plat_configuration_param_usage",
       "Os parâmetros podem ser ativados com -<parâmetro> ou desativados com -<parâmetro>=0\n"
       "Os valores podem ser especificados como -<parâmetro> <valor>\n"
       "Outras formas válidas são <parâmetro>=<valor> -<parâmetro>=<valor> --<parâmetro>=<valor>\n"
       "Os nomes não diferenciam maiúsculas de minúsculas.  Os parâmetros válidos estão listados "
       "abaixo."},
      {"plat_missing_argument", "Falta o argumento de “%S”."},
      {"plat_param_log", "Registrar eventos no formato <log>:<destino>:<nível>[,...]."},
      {"plat_param_log_keep_days", "Manter os arquivos de log por X dias."},
      {"plat_param_logdir", "Diretório no qual armazenar a saída de log direcionada para arquivo."},
      {"plat_param_logfile", "Arquivo no qual armazenar a saída de log direcionada para arquivo."},
      {"plat_press_return_to_continue", "Pressione a tecla Enter para continuar"},
      {"plat_run_with_help", "Execute com -help para ver as instruções de uso."},
      {"plat_string_too_long", "Texto longo demais"},
      {"plat_this_program_not_directly",
       "Este programa não foi criado para ser executado diretamente."},
      {"plat_usage_help", "Exibir informações de uso [avançadas]."},
      {"plat_usage_label", "Uso:"},

      {"loc_param_locale",
       "Localidade a ser usada. Especifique en_US, de_DE, es_ES, fr_FR ou pt_BR, ou deixe em "
       "branco para selecionar a localidade do usuário ou do sistema, conforme apropriado."},
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
      {"loc_period_second_sing", "%D segundo"},
      {"loc_period_second_many", "%D segundos"},
      {"loc_period_minute_sing", "%D minuto"},
      {"loc_period_minute_many", "%D minutos"},
      {"loc_period_hour_sing", "%D hora"},
      {"loc_period_hour_many", "%D horas"},
      {"loc_period_day_sing", "%D dia"},
      {"loc_period_day_many", "%D dias"},
      {"loc_time_yesterday", "ontem"},
      {"loc_time_tomorrow", "amanhã"},
      {"loc_timedate_separator", "%1$S, %2$S"},
      {"loc_timezone_separator", "%1$S %2$S"},

      {"io_error_endpoint_badescape",
       "Ponto de extremidade inválido: sequência de escape %% incorreta"},
      {"io_error_endpoint_badport",
       "Ponto de extremidade inválido: porta não especificada corretamente"},
      {"io_error_endpoint_bracket", "Ponto de extremidade inválido: “[” sem fechamento no host"},
      {"io_error_endpoint_empty", "Ponto de extremidade inválido: host e/ou porta ausentes"},
      {"io_error_endpoint_general", "Ponto de extremidade inválido"},
  };
  return texts;
}

}  // namespace loc
