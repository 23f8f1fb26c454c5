<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Fans</source><translation>Ventilateurs</translation></message>
    <message><source>fan</source><translation>vnt</translation></message>
    <message><source>Fastest</source><translation>Le plus rapide</translation></message>
    <message><source>none found</source><translation>aucun trouvé</translation></message>
    <message><source>unavailable</source><translation>indisponible</translation></message>
    <message><source>%1 rpm</source><translation>%1 tr/min</translation></message>
    <message><source>full speed</source><translation>pleine vitesse</translation></message>
    <message><source>manual</source><translation>manuel</translation></message>
    <message><source>automatic</source><translation>automatique</translation></message>
    <message><source>CPU</source><translation>Processeur</translation></message>
    <message><source>GPU</source><translation>Carte graphique</translation></message>
    <message><source>Board</source><translation>Carte mère</translation></message>
</context>
</TS>
