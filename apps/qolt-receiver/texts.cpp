#include "apps/qolt-receiver/texts.h"

#include "base/loc/Localize.h"

namespace receiver {

namespace {

constexpr loc::Text texts[] = {
    {"receiver_param_name", "Name of the endpoint at which jobs are announced.",
     "Name des Endpunkts, an dem Druckaufträge angekündigt werden.",
     "Nombre del punto de conexión en el que se anuncian los trabajos.",
     "Nom du point de terminaison auquel les travaux sont annoncés.",
     "Nome do ponto de extremidade em que os trabalhos são anunciados."},
    {"receiver_param_output",
     "Directory in which to store received documents; pages become PNG pictures.",
     "Verzeichnis, in dem empfangene Dokumente abgelegt werden; Seiten werden zu PNG-Bildern.",
     "Directorio en el que se guardan los documentos recibidos; las páginas se convierten en "
     "imágenes PNG.",
     "Répertoire dans lequel enregistrer les documents reçus\u00a0; les pages deviennent des "
     "images PNG.",
     "Diretório no qual armazenar os documentos recebidos; as páginas se tornam imagens PNG."},
    {"receiver_param_timeout", "Seconds within which a connection must announce its job.",
     "Sekunden, innerhalb derer eine Verbindung ihren Auftrag ankündigen muss.",
     "Segundos de los que dispone una conexión para anunciar su trabajo.",
     "Délai, en secondes, dans lequel une connexion doit annoncer son travail.",
     "Segundos que uma conexão tem para anunciar seu trabalho."},
    {"receiver_param_join", "Join the pages of a job into one PDF document.",
     "Die Seiten eines Auftrags zu einem PDF-Dokument zusammenfügen.",
     "Unir las páginas de un trabajo en un solo documento PDF.",
     "Réunir les pages d’un travail en un seul document PDF.",
     "Reunir as páginas de um trabalho em um único documento PDF."},
    {"receiver_param_command",
     "Command to run for each received document, without a shell: %f its file, %j job, %t title, "
     "%q queue.",
     "Befehl, der für jedes empfangene Dokument ohne Shell ausgeführt wird: %f Datei, %j Auftrag, "
     "%t Titel, %q Warteschlange.",
     "Comando que se ejecuta sin intérprete de comandos con cada documento recibido: %f archivo, "
     "%j trabajo, %t título, %q cola.",
     "Commande à exécuter sans interpréteur pour chaque document reçu\u00a0: %f fichier, %j "
     "travail, %t titre, %q file d’attente.",
     "Comando a executar, sem interpretador de comandos, para cada documento recebido: %f arquivo, "
     "%j trabalho, %t título, %q fila."},
    {"receiver_param_parallel", "Number of commands that may run at once; with 1 in order.",
     "Zahl der Befehle, die gleichzeitig laufen dürfen; mit 1 der Reihe nach.",
     "Número de comandos que pueden ejecutarse a la vez; con 1, en orden.",
     "Nombre de commandes pouvant s’exécuter en même temps\u00a0; avec 1, dans l’ordre.",
     "Número de comandos que podem ser executados ao mesmo tempo; com 1, em ordem."},
    {"receiver_param_stdin", "Give the document to the command on its standard input.",
     "Das Dokument dem Befehl auf dessen Standardeingabe geben.",
     "Entregar el documento al comando por la entrada estándar.",
     "Donner le document à la commande sur son entrée standard.",
     "Entregar o documento ao comando pela entrada padrão."},
    {"receiver_param_delete", "Remove a document once its command has succeeded.",
     "Ein Dokument entfernen, sobald sein Befehl gelungen ist.",
     "Eliminar un documento cuando su comando ha terminado con éxito.",
     "Supprimer un document une fois que sa commande a réussi.",
     "Remover um documento quando seu comando tiver êxito."},
    {"receiver_param_take_over", "Receive at the start what has been left in /tmp.",
     "Beim Start empfangen, was in /tmp liegen geblieben ist.",
     "Recibir al inicio lo que ha quedado en /tmp.",
     "Recevoir au démarrage ce qui est resté dans /tmp.", "Receber no início o que ficou em /tmp."},
    {"receiver_param_orphan_hours",
     "Hours after which pages in /tmp that belong to no job are removed at the start; 0: never.",
     "Stunden, nach denen Seiten in /tmp, die zu keinem Auftrag gehören, beim Start entfernt "
     "werden; 0: nie.",
     "Horas tras las cuales se eliminan al inicio las páginas de /tmp que no son de ningún "
     "trabajo; 0: nunca.",
     "Nombre d’heures après lequel les pages de /tmp qui n’appartiennent à aucun travail sont "
     "supprimées au démarrage\u00a0; 0\u00a0: jamais.",
     "Horas após as quais as páginas em /tmp que não pertencem a nenhum trabalho são removidas no "
     "início; 0: nunca."},
    {"receiver_param_release_held",
     "Have the print scheduler of this machine print what waits for this endpoint.",
     "Die Druckverwaltung dieses Rechners drucken lassen, was auf diesen Endpunkt wartet.",
     "Hacer que el planificador de impresión de este equipo imprima lo que espera a este punto de "
     "conexión.",
     "Faire imprimer par le planificateur d’impression de cette machine ce qui attend ce point de "
     "terminaison.",
     "Fazer o agendador de impressão desta máquina imprimir o que espera por este ponto de "
     "extremidade."},
    {"receiver_param_log_server", "Socket of the server that collects log output directed to ipc.",
     "Socket des Servers, der die nach ipc geleiteten Protokollausgaben sammelt.",
     "Socket del servidor que recopila la salida del registro dirigida a ipc.",
     "Socket du serveur qui collecte la sortie du journal dirigée vers ipc.",
     "Socket do servidor que coleta a saída de log direcionada para ipc."},
};

}  // namespace

void addTexts() {
  loc::Localize::instance().addTexts(texts);
}

}  // namespace receiver
