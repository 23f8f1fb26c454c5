<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Graphics</source><translation>Graphisme</translation></message>
    <message><source>gpu</source><translation>gpu</translation></message>
    <message><source>Utilisation</source><translation>Utilisation</translation></message>
    <message><source>Graphics processor</source><translation>Processeur graphique</translation></message>
    <message><source>%1 of %2</source><translation>%1 sur %2</translation></message>
    <message><source>VRAM</source><translation>Mémoire vidéo</translation></message>
    <message><source>no statistics</source><translation>pas de statistiques</translation></message>
    <message><source>No graphics processor found</source><translation>Aucun processeur graphique trouvé</translation></message>
    <message><source>the driver gives no statistics</source><translation>le pilote ne donne pas de statistiques</translation></message>
</context>
</TS>
