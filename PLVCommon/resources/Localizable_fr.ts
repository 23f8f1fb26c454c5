<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr">
<context>
    <name>Localizable</name>
    <message>
        <source>B/s</source>
        <translation>o/s</translation>
    </message>
    <message>
        <source>KB/s</source>
        <translation>Ko/s</translation>
    </message>
    <message>
        <source>MB/s</source>
        <translation>Mo/s</translation>
    </message>
    <message>
        <source>GB/s</source>
        <translation>Go/s</translation>
    </message>
    <message>
        <source>TB/s</source>
        <translation>To/s</translation>
    </message>
    <message>
        <source>b/s</source>
        <translation>bit/s</translation>
    </message>
    <message>
        <source>Kb/s</source>
        <translation>kbit/s</translation>
    </message>
    <message>
        <source>Mb/s</source>
        <translation>Mbit/s</translation>
    </message>
    <message>
        <source>Gb/s</source>
        <translation>Gbit/s</translation>
    </message>
    <message>
        <source>Tb/s</source>
        <translation>Tbit/s</translation>
    </message>
    <message>
        <source>MB</source>
        <translation>Mo</translation>
    </message>
    <message>
        <source>GB</source>
        <translation>Go</translation>
    </message>
    <message>
        <source>TB</source>
        <translation>To</translation>
    </message>
    <message>
        <source>Download Helper</source>
        <translation>Télécharger l’assistant</translation>
    </message>
    <message>
        <source>Update Helper</source>
        <translation>Mettre à jour l’assistant</translation>
    </message>
    <message>
        <source>Helper Not Running!</source>
        <translation>L’assistant ne tourne pas !</translation>
    </message>
    <message>
        <source>Contacting Helper</source>
        <translation>Connexion à l’assistant</translation>
    </message>
    <message>
        <source>Show More</source>
        <translation>Afficher plus</translation>
    </message>
    <message>
        <source>Show Less</source>
        <translation>Afficher moins</translation>
    </message>
    <message>
        <source>Show Compact View</source>
        <translation>Afficher la vue compacte</translation>
    </message>
    <message>
        <source>Show Expanded View</source>
        <translation>Afficher la vue détaillée</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Copier</translation>
    </message>
    <message>
        <source>Click to choose a colour.</source>
        <translation>Cliquez pour choisir une couleur.</translation>
    </message>
    <message>
        <source>Click to show more colours or show your own.</source>
        <translation>Cliquez pour afficher plus de couleurs ou les vôtres.</translation>
    </message>
</context>
</TS>
