<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Temperatures</source><translation>Températures</translation></message>
    <message><source>tmp</source><translation>tmp</translation></message>
    <message><source>Hottest</source><translation>La plus chaude</translation></message>
    <message><source>none found</source><translation>aucune trouvée</translation></message>
    <message><source>unavailable</source><translation>indisponible</translation></message>
    <message><source>CPU</source><translation>Processeur</translation></message>
    <message><source>GPU</source><translation>Carte graphique</translation></message>
    <message><source>NVMe</source><translation>NVMe</translation></message>
    <message><source>Board</source><translation>Carte mère</translation></message>
    <message><source>Disk</source><translation>Disque</translation></message>
    <message><source>Wi-Fi</source><translation>Wi-Fi</translation></message>
    <message><source>Battery</source><translation>Batterie</translation></message>
</context>
</TS>
